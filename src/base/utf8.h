#ifndef TVL_BASE_UTF8_H
#define TVL_BASE_UTF8_H

#include <string_view>

namespace tvl {

// A character at the start of a text. `size` is 0 if the bytes are not well-formed UTF-8 (RFC 3629).
struct Utf8Character {
  unsigned int size;
  char32_t code;
};

[[nodiscard]] Utf8Character DecodeUtf8(std::string_view text);

[[nodiscard]] bool IsUtf8(std::string_view text);

// Returns true for characters that control a terminal, break a line or change the writing direction, and so
// could make one name look like another.
[[nodiscard]] bool IsUnsafeToShow(char32_t code);

}  // namespace tvl

#endif
