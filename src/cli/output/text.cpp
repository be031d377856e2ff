#include "cli/output/text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "cli/output/terminal.h"

namespace tvl::cli {
namespace {

unsigned char ByteAt(std::string_view bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

// Length of a character and the range of its second byte, by first byte. The narrow ranges exclude overlong
// forms, surrogates and code points above U+10FFFF.
struct LeadBytes {
  unsigned char first, last;
  unsigned char length;
  unsigned char second_first, second_last;
};
constexpr LeadBytes kLeadBytes[] = {
    {0x00, 0x7F, 1, 0x00, 0x00}, {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

std::size_t CompleteLength(std::string_view bytes, const LeadBytes& lead) {
  if (lead.length == 1) return 1;
  if (bytes.size() < lead.length) return 0;
  if (ByteAt(bytes, 1) < lead.second_first || ByteAt(bytes, 1) > lead.second_last) return 0;
  for (std::size_t at = 2; at < lead.length; ++at) {
    if ((ByteAt(bytes, at) & 0xC0U) != 0x80U) return 0;
  }
  return lead.length;
}

struct CodePoints {
  char32_t first, last;
};
// The two sets of control characters, and those for line ends and the direction of writing.
constexpr CodePoints kControls[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x61C, 0x61C},
                                    {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};

std::size_t WidthOf(std::string_view character) {
  const int width = Utf8Length(character) == 0 ? 1 : CharacterColumns(CodePointOf(character));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

template <typename... Values>
std::string Formatted(const char* format, Values... values) {
  std::array<char, 64> text = {};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

}  // namespace

std::size_t Utf8Length(std::string_view bytes) {
  if (bytes.empty()) return 0;
  for (const LeadBytes& lead : kLeadBytes) {
    if (ByteAt(bytes, 0) >= lead.first && ByteAt(bytes, 0) <= lead.last) return CompleteLength(bytes, lead);
  }
  return 0;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = Utf8Length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string_view FirstCharacter(std::string_view text) {
  return text.substr(0, std::max<std::size_t>(1, Utf8Length(text)));
}

bool EqualsIgnoringCase(std::string_view one, std::string_view other) {
  const auto lower = [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  };
  return std::ranges::equal(one, other, {}, lower, lower);
}

std::string Utf8FromLatin1(std::string_view text) {
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      result += character;
    } else {
      result += static_cast<char>(0xC0U | (byte >> 6U));
      result += static_cast<char>(0x80U | (byte & 0x3FU));
    }
  }
  return result;
}

char32_t CodePointOf(std::string_view character) {
  constexpr std::array<unsigned char, 5> kLeadBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t code_point = ByteAt(character, 0) & kLeadBits.at(character.size());
  for (std::size_t at = 1; at < character.size(); ++at)
    code_point = code_point << 6U | (ByteAt(character, at) & 0x3FU);
  return code_point;
}

bool IsControl(char32_t code_point) {
  return std::any_of(std::begin(kControls), std::end(kControls), [code_point](const CodePoints& range) {
    return code_point >= range.first && code_point <= range.last;
  });
}

std::string Printable(std::string_view text) {
  std::string result;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view character = FirstCharacter(rest);
    const bool valid = Utf8Length(character) != 0;
    // A terminal with an 8-bit character set may take an invalid UTF-8 byte as a control character.
    const bool control = IsControl(valid ? CodePointOf(character) : ByteAt(character, 0));
    result += control ? "?" : character;
    rest.remove_prefix(character.size());
  }
  return result;
}

std::size_t ColumnsOf(std::string_view text) {
  std::size_t columns = 0;
  for (; !text.empty(); text.remove_prefix(FirstCharacter(text).size()))
    columns += WidthOf(FirstCharacter(text));
  return columns;
}

std::string CutToColumns(std::string_view text, std::size_t columns) {
  std::size_t at = 0;
  for (std::size_t used = 0; at < text.size();) {
    const std::string_view character = FirstCharacter(text.substr(at));
    used += WidthOf(character);
    if (used > columns) break;
    at += character.size();
  }
  return std::string(text.substr(0, at));
}

std::string Slashed(std::string_view path) {
  std::string result(path);
  for (char& character : result) {
    if (character == '\\') character = '/';
  }
  return result;
}

std::string HostFolder(std::string_view path) {
  std::string result = Slashed(path);
  while (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

std::string Joined(std::string_view folder, std::string_view name) {
  std::string result(folder);
  if (!result.empty() && result.back() != '/' && !name.empty()) result += '/';
  result += name;
  return result;
}

std::string HumanBytes(std::uint64_t bytes) {
  constexpr std::array<const char*, 5> kUnits = {"kB", "MB", "GB", "TB", "PB"};
  if (bytes < 1000) return Formatted("%u B", static_cast<unsigned int>(bytes));
  double value = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  for (; value >= 999.95 && unit + 1 < kUnits.size(); ++unit) value /= 1000;
  return Formatted("%.1f %s", value, kUnits.at(unit));
}

std::string HumanSeconds(std::uint64_t time) {
  const auto hours = static_cast<unsigned long long>(time / 3600);
  const auto minutes = static_cast<unsigned int>(time / 60 % 60);
  const auto seconds = static_cast<unsigned int>(time % 60);
  if (hours > 0) return Formatted("%llu:%02u:%02u", hours, minutes, seconds);
  return Formatted("%u:%02u", minutes, seconds);
}

std::string Counted(std::uint64_t count, std::string_view noun) {
  std::string text = std::to_string(count) + " ";
  text += noun;
  if (count != 1) text += "s";
  return text;
}

}  // namespace tvl::cli
