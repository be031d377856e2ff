#include "cli/output/json.h"

#include <array>

#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

struct Escape {
  char character;
  std::string_view text;
};
constexpr std::array<Escape, 5> kEscapes = {
    {{'"', "\\\""}, {'\\', "\\\\"}, {'\n', "\\n"}, {'\r', "\\r"}, {'\t', "\\t"}}};

std::string Hex(std::string_view bytes) {
  std::string text;
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    text += kHexDigits[byte >> 4U];
    text += kHexDigits[byte & 0x0FU];
  }
  return text;
}

std::string EscapedCharacter(std::string_view character) {
  for (const Escape& escape : kEscapes) {
    if (character.front() == escape.character) return std::string(escape.text);
  }
  const char32_t code_point = CodePointOf(character);
  if (!IsControl(code_point)) return std::string(character);
  const std::array<char, 2> bytes = {static_cast<char>(code_point >> 8U), static_cast<char>(code_point)};
  return "\\u" + Hex({bytes.data(), bytes.size()});
}

// Formats `value` as a JSON string. Sets `whole` to false if it is not valid UTF-8.
std::string Quoted(std::string_view value, bool& whole) {
  std::string text = "\"";
  while (!value.empty()) {
    const std::size_t length = Utf8Length(value);
    if (length == 0) {
      text += "\xEF\xBF\xBD";
      whole = false;
    } else {
      text += EscapedCharacter(value.substr(0, length));
    }
    value.remove_prefix(length == 0 ? 1 : length);
  }
  return text + "\"";
}

}  // namespace

void JsonObject::Key(std::string_view key) {
  if (!members_.empty()) members_ += ",";
  members_ += "\"";
  members_ += key;
  members_ += "\":";
}

JsonObject& JsonObject::Text(std::string_view key, std::string_view value) {
  bool whole = true;
  Key(key);
  members_ += Quoted(value, whole);
  if (whole) return *this;
  Key(std::string(key) + "_hex");
  members_ += "\"" + Hex(value) + "\"";
  return *this;
}

JsonObject& JsonObject::Number(std::string_view key, std::int64_t value) {
  Key(key);
  members_ += std::to_string(value);
  return *this;
}

JsonObject& JsonObject::Flag(std::string_view key, bool value) {
  Key(key);
  members_ += value ? "true" : "false";
  return *this;
}

JsonObject& JsonObject::Object(std::string_view key, const JsonObject& value) {
  Key(key);
  members_ += value.Line();
  return *this;
}

JsonObject& JsonObject::Array(std::string_view key, const std::vector<JsonObject>& values) {
  Key(key);
  members_ += "[";
  for (std::size_t at = 0; at < values.size(); ++at) {
    if (at > 0) members_ += ",";
    members_ += values[at].Line();
  }
  members_ += "]";
  return *this;
}

}  // namespace tvl::cli
