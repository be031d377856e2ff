#include "base/numbers.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

using std::string_view;

constexpr unsigned int kWidestField = 31;
constexpr std::size_t kLongestAddress = 31;
constexpr std::size_t kAddressParts = 4;
constexpr char kNoAddress[] = "00000000";

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

int Saturate(std::uint64_t value) {
  return static_cast<int>(std::min<std::uint64_t>(value, std::numeric_limits<int>::max()));
}

// Parses one part of a dotted address. Returns false unless it is a number from 0 to 255.
bool ParsePart(string_view part, std::uint8_t& value) {
  const char* end = part.data() + part.size();
  const auto [stop, problem] = std::from_chars(part.data(), end, value);
  return problem == std::errc() && stop == end;
}

// Removes the part before the next "." from `rest`. Returns false if there is none.
bool TakePart(string_view& rest, std::uint8_t& value) {
  const std::size_t point = rest.find('.');
  if (!ParsePart(rest.substr(0, point), value)) return false;
  rest.remove_prefix(point == string_view::npos ? rest.size() : point + 1);
  return true;
}

}  // namespace

int NumericField(const char* text, unsigned int width) {
  width = std::min(width, kWidestField);
  constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
  std::uint64_t value = 0;
  for (bool ended = false; width > 0;) {
    if (!ended && *text == '.') {
      ++text;
      continue;
    }
    ended = ended || !IsDigit(*text);
    const int digit = ended ? 0 : *text++ - '0';
    value = std::min(value * 10 + static_cast<std::uint64_t>(digit), most);
    --width;
  }
  return Saturate(value);
}

int VersionTotal(int major, int minor) {
  const std::uint64_t total = static_cast<std::uint64_t>(std::abs(std::int64_t{major})) * 1000000 +
                              static_cast<std::uint64_t>(std::abs(std::int64_t{minor}));
  return Saturate(total);
}

int IpToHex(const char* text, char* output) {
  string_view rest(text, strnlen(text, kLongestAddress));
  std::uint8_t parts[kAddressParts] = {};
  bool whole = std::count(rest.begin(), rest.end(), '.') == kAddressParts - 1;
  for (std::uint8_t& part : parts) whole = whole && TakePart(rest, part);
  if (!whole) {
    std::memcpy(output, kNoAddress, sizeof kNoAddress);
    return 0;
  }
  std::snprintf(output, sizeof kNoAddress, "%02x%02x%02x%02x", parts[0], parts[1], parts[2], parts[3]);
  return 1;
}

int HexToIp(char* output, const char* hex) {
  unsigned int parts[kAddressParts] = {};
  std::sscanf(hex, "%02x%02x%02x%02x", &parts[0], &parts[1], &parts[2], &parts[3]);  // NOLINT(cert-err34-c)
  std::snprintf(output, sizeof "255.255.255.255", "%u.%u.%u.%u", parts[0], parts[1], parts[2], parts[3]);
  return 1;
}
