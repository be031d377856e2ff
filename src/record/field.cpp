#include "record/field.h"

#include <algorithm>
#include <cstring>

#include "record/packed_number.h"

namespace tvl {
namespace {

void CopyOut(char* destination, std::size_t capacity, const void* text, std::size_t length) {
  length = std::min(length, capacity - 1);
  std::memmove(destination, text, length);
  destination[length] = 0;
}

std::size_t LengthWithoutBlanks(const unsigned char* text, std::size_t length) {
  while (length > 0 && text[length - 1] == ' ') --length;
  return length;
}

// A NUL in the record ends the value.
void GetText(const unsigned char* bytes, std::size_t size, char* destination, std::size_t capacity) {
  const std::size_t length = strnlen(reinterpret_cast<const char*>(bytes), std::min(size, capacity - 1));
  CopyOut(destination, capacity, bytes, LengthWithoutBlanks(bytes, length));
}

}  // namespace

bool GetField(const _format_& field, unsigned char* record, char* destination, std::size_t capacity) {
  unsigned char* bytes = record + field.offset;
  if (field.type == 'D') {
    GetText(bytes, static_cast<std::size_t>(field.size), destination, capacity);
    return true;
  }
  char text[kNumberText];
  const bool is_number = UnpackNumber(bytes, field.size, field.decimals, text);
  const char* value = is_number ? text : "0";
  CopyOut(destination, capacity, value, std::strlen(value));
  return is_number;
}

bool SetField(const _format_& field, unsigned char* record, const char* text) {
  unsigned char* bytes = record + field.offset;
  if (field.type == 'F') return PackNumber(bytes, field.size, text);
  const auto size = static_cast<std::size_t>(field.size);
  const std::size_t length = strnlen(text, size);
  std::memmove(bytes, text, length);
  std::memset(bytes + length, ' ', size - length);
  return true;
}

}  // namespace tvl
