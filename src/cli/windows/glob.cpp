#include "cli/locks/glob.h"

#include <string_view>

namespace tvl::cli {
namespace {

unsigned char ByteOf(char character) {
  return static_cast<unsigned char>(character);
}

// Compares one character with the set at the start of `pattern`, after its bracket, and removes the set.
// A set without an end is not one: `pattern` stays as it is and the result is false.
bool MatchesSet(std::string_view& pattern, char character) {
  const bool is_inverse = pattern.starts_with('!');
  const std::size_t first = is_inverse ? 1 : 0;
  const std::size_t end = pattern.find(']', first + 1);
  if (end == std::string_view::npos) return false;
  bool matches = false;
  for (std::size_t at = first; at < end; ++at) {
    const bool is_range = at + 2 < end && pattern[at + 1] == '-';
    const char last = pattern[is_range ? at + 2 : at];
    matches |= ByteOf(character) >= ByteOf(pattern[at]) && ByteOf(character) <= ByteOf(last);
    if (is_range) at += 2;
  }
  pattern.remove_prefix(end + 1);
  return matches != is_inverse;
}

// Compares the first character of `text` with what the pattern has at its start, and removes that.
bool MatchesOne(std::string_view& pattern, char character) {
  const char wanted = pattern.front();
  pattern.remove_prefix(1);
  if (wanted == '?') return true;
  if (wanted == '[' && pattern.find(']', 1) != std::string_view::npos) return MatchesSet(pattern, character);
  if (wanted != '\\' || pattern.empty()) return wanted == character;
  const bool matches = pattern.front() == character;
  pattern.remove_prefix(1);
  return matches;
}

}  // namespace

// After a mismatch, only the last `*` has to take one character more.
bool MatchesGlob(const std::string& pattern, const std::string& text) {
  std::string_view wanted = pattern;
  std::string_view rest = text;
  std::string_view after_star;
  std::string_view taken;
  bool has_star = false;
  while (!rest.empty() || wanted.starts_with('*')) {
    if (wanted.starts_with('*')) {
      wanted.remove_prefix(1);
      after_star = wanted;
      taken = rest;
      has_star = true;
    } else if (!wanted.empty() && MatchesOne(wanted, rest.front())) {
      rest.remove_prefix(1);
    } else if (has_star && !taken.empty()) {
      taken.remove_prefix(1);
      rest = taken;
      wanted = after_star;
    } else {
      return false;
    }
  }
  return wanted.empty();
}

}  // namespace tvl::cli
