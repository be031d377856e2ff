#include "platform/common/name_pattern.h"

namespace tvl {
namespace {

// `*` matches any run of characters, `?` matches one. On a mismatch the last `*` takes one more character, so
// the cost is at most the product of both lengths.
bool Matches(std::string_view pattern, std::string_view name) {
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t retry = 0;
  for (std::size_t n = 0; n < name.size();) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      retry = n;
    } else if (p < pattern.size() && (pattern[p] == '?' || LowerLetter(pattern[p]) == LowerLetter(name[n]))) {
      ++p;
      ++n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      n = ++retry;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

}  // namespace

bool IsPatternMatch(std::string_view pattern, std::string_view name) {
  return Matches(pattern == "*.*" ? "*" : pattern, name);
}

SearchAim SearchAimOf(std::string_view path, SearchScope scope) {
  const std::size_t separator = path.find_last_of("\\/");
  if (separator == std::string_view::npos) return {".", std::string(path), scope};
  return {std::string(path.substr(0, separator + 1)), std::string(path.substr(separator + 1)), scope};
}

bool MatchesPattern(const char* pattern, const char* name) {
  return IsPatternMatch(pattern, name);
}

}  // namespace tvl
