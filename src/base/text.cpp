#include "base/text.h"

#include <cstring>

namespace tvl {
namespace {

unsigned char Lower(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte - 'A' + 'a') : byte;
}

}  // namespace

int CompareNoCase(const char* a, const char* b) {
  for (; *a != 0 && Lower(*a) == Lower(*b); ++a) ++b;
  return Lower(*a) - Lower(*b);
}

void ToLower(char* text) {
  for (; *text != 0; ++text) *text = static_cast<char>(Lower(*text));
}

}  // namespace tvl

void TrimRight(char* text) {
  std::size_t length = std::strlen(text);
  while (length > 1 && std::strchr(" \t\n\r", text[length - 1]) != nullptr) text[--length] = 0;
}
