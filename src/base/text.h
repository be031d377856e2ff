#ifndef TVL_BASE_TEXT_H
#define TVL_BASE_TEXT_H

namespace tvl {

// Order of two texts without regard to the case of ASCII letters, as strcmp tells it; no locale.
[[nodiscard]] int CompareNoCase(const char* a, const char* b);

[[nodiscard]] inline bool EqualNoCase(const char* a, const char* b) {
  return CompareNoCase(a, b) == 0;
}

// Turns the ASCII letters of `text` to lower case, in place.
void ToLower(char* text);

}  // namespace tvl

// Cuts blanks, tabs, line feeds and carriage returns at the end, in place. The first character always stays.
void TrimRight(char* text);

#endif
