#include "base/utf8.h"

#include <algorithm>

namespace tvl {
namespace {

// The meaning of a first byte: the number of bytes, and the codes that need so many.
struct Form {
  unsigned char mask;
  unsigned char mark;
  unsigned int size;
  char32_t least;
};

constexpr Form kForms[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

constexpr char32_t kMostCode = 0x10FFFF;

struct Range {
  char32_t first;
  char32_t last;
};

constexpr Range kSurrogates = {0xD800, 0xDFFF};

constexpr Range kUnsafe[] = {
    {0x00, 0x1F},      // control characters
    {0x7F, 0x9F},      // delete, and more control characters
    {0x061C, 0x061C},  // Arabic letter mark
    {0x200E, 0x200F},  // left-to-right and right-to-left mark
    {0x2028, 0x202E},  // separators of lines and paragraphs, embeddings and overrides
    {0x2066, 0x2069},  // isolates
};

bool IsIn(char32_t code, const Range& range) {
  return code >= range.first && code <= range.last;
}

}  // namespace

Utf8Character DecodeUtf8(std::string_view text) {
  constexpr Utf8Character kNone = {0, 0};
  if (text.empty()) return kNone;
  const auto first = static_cast<unsigned char>(text[0]);
  for (const Form& form : kForms) {
    if ((first & form.mask) != form.mark) continue;
    if (text.size() < form.size) return kNone;
    auto code = static_cast<char32_t>(first & static_cast<unsigned char>(~form.mask));
    for (unsigned int at = 1; at < form.size; ++at) {
      const auto byte = static_cast<unsigned char>(text[at]);
      if ((byte & 0xC0U) != 0x80) return kNone;
      code = (code << 6U) | (byte & 0x3FU);
    }
    const bool good = code >= form.least && code <= kMostCode && !IsIn(code, kSurrogates);
    return good ? Utf8Character{form.size, code} : kNone;
  }
  return kNone;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const Utf8Character character = DecodeUtf8(text);
    if (character.size == 0) return false;
    text.remove_prefix(character.size);
  }
  return true;
}

bool IsUnsafeToShow(char32_t code) {
  return std::any_of(std::begin(kUnsafe), std::end(kUnsafe),
                     [code](const Range& range) { return IsIn(code, range); });
}

}  // namespace tvl
