#ifndef TVL_BASE_TEXT_H
#define TVL_BASE_TEXT_H

namespace tvl {

// Compares two texts like strcmp, but without regard to the case of ASCII letters and independent of the
// locale.
[[nodiscard]] int CompareNoCase(const char* a, const char* b);

[[nodiscard]] inline bool EqualNoCase(const char* a, const char* b) {
  return CompareNoCase(a, b) == 0;
}

// Converts the ASCII letters of `text` to lower case, in place.
void ToLower(char* text);

}  // namespace tvl

// Removes trailing blanks, tabs, line feeds and carriage returns, in place. Always keeps the first character.
void TrimRight(char* text);

#endif
