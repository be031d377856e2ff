#include "record/schema.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>

namespace tvl {
namespace {

using std::string_view;

constexpr std::size_t kLongestToken = 127;
constexpr std::size_t kLongestName = sizeof(_format_::name) - 1;

char Upper(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - ('a' - 'A')) : character;
}

// Removes the next description from `rest` and returns it; empty at the end.
string_view TakeToken(string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  const string_view token = rest.substr(0, rest.find(' '));
  rest.remove_prefix(token.size());
  return token;
}

// Returns the number at the start of a text, 0 if there is none, and the largest int if it is larger.
int LeadingNumber(string_view text) {
  int value = 0;
  const auto [stop, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
  return problem == std::errc::result_out_of_range ? std::numeric_limits<int>::max() : value;
}

std::int64_t SizeOf(const _format_& field) {
  const std::int64_t digits = std::int64_t{field.length} + field.decimals;
  if (field.type == 'D') return field.length;
  return (digits + (field.decimals != 0 ? 2 : 1)) / 2;
}

// Parses a description, except for the offset in the record.
bool ParseToken(string_view token, _format_& field) {
  const std::size_t dash = token.find('-');
  if (token.size() > kLongestToken || dash > kLongestName || dash + 1 >= token.size()) return false;
  std::transform(token.begin(), token.begin() + static_cast<std::ptrdiff_t>(dash), field.name, Upper);
  field.type = Upper(token[dash + 1]);
  const string_view numbers = token.substr(dash + 2);
  const std::size_t point = numbers.find('.');
  field.length = LeadingNumber(numbers.substr(0, point));
  field.decimals = point == string_view::npos ? 0 : LeadingNumber(numbers.substr(point + 1));
  return (field.type == 'D' || field.type == 'F') && field.length >= 0 && field.decimals >= 0;
}

}  // namespace

std::size_t CountFields(const char* schema) {
  string_view rest(schema);
  std::size_t count = 0;
  while (!TakeToken(rest).empty()) ++count;
  return count;
}

bool ParseSchema(const char* schema, int recordLength, std::span<_format_> fields) {
  string_view rest(schema);
  std::int64_t offset = 0;
  for (_format_& field : fields) {
    field = {};
    if (!ParseToken(TakeToken(rest), field)) return false;
    const std::int64_t size = SizeOf(field);
    if (offset + size > recordLength) return false;
    field.size = static_cast<int>(size);
    field.offset = static_cast<int>(offset);
    offset += size;
  }
  return true;
}

const _format_* FindField(std::span<const _format_> fields, const char* name) {
  const auto matches = [name](const _format_& field) {
    const char* wanted = name;
    const char* own = field.name;
    while (*own != 0 && *own == Upper(*wanted)) ++own, ++wanted;
    return *own == 0 && *wanted == 0;
  };
  const auto found = std::find_if(fields.begin(), fields.end(), matches);
  return found == fields.end() ? nullptr : &*found;
}

}  // namespace tvl
