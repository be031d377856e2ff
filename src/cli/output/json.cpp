#include "cli/output/json.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "cli/output/text.h"

namespace tvl::cli {
namespace {

std::string Hex(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
  }
  return text;
}

// Most texts are, which saves looking at their characters one by one.
bool IsPlainAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char character) { return static_cast<unsigned char>(character) < 0x7F; });
}

// The JSON library escapes only the characters below U+0020. The other control characters can occur only
// inside strings.
std::string WithControlsEscaped(std::string line) {
  if (IsPlainAscii(line)) return line;
  std::string escaped;
  for (std::string_view rest = line; !rest.empty();) {
    const std::string_view character = FirstCharacter(rest);
    rest.remove_prefix(character.size());
    const char32_t code_point = CodePointOf(character);
    if (!IsControl(code_point)) {
      escaped += character;
      continue;
    }
    std::array<char, 8> text = {};
    std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned int>(code_point));
    escaped += text.data();
  }
  return escaped;
}

}  // namespace

JsonObject& JsonObject::Text(std::string_view key, std::string_view value) {
  members_[std::string(key)] = value;
  if (!IsPlainAscii(value) && !IsUtf8(value)) members_[std::string(key) + "_hex"] = Hex(value);
  return *this;
}

JsonObject& JsonObject::Flag(std::string_view key, bool value) {
  members_[std::string(key)] = value;
  return *this;
}

JsonObject& JsonObject::Object(std::string_view key, const JsonObject& value) {
  members_[std::string(key)] = value.members_;
  return *this;
}

JsonObject& JsonObject::Array(std::string_view key, const std::vector<JsonObject>& values) {
  auto& array = members_[std::string(key)] = nlohmann::ordered_json::array();
  for (const JsonObject& value : values) array.push_back(value.members_);
  return *this;
}

std::string JsonObject::Line() const {
  return WithControlsEscaped(members_.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

}  // namespace tvl::cli
