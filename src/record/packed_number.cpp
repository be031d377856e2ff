#include "record/packed_number.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace tvl {
namespace {

constexpr unsigned char kPairByte = 0x80;
constexpr unsigned char kLastDigitByte = 0xE4;
constexpr unsigned char kMinusDigitByte = 0xEE;
constexpr unsigned char kDigitPointByte = 0x01;
constexpr unsigned char kPointDigitByte = 0x0B;
constexpr unsigned char kFillerByte = 0xF8;

enum class Kind : unsigned char {
  kInvalid,
  kPair,
  kLastDigit,
  kMinusDigit,
  kDigitPoint,
  kPointDigit,
  kFiller
};

struct KindRange {
  unsigned char first;
  unsigned char last;
  Kind kind;
};

constexpr KindRange kKinds[] = {
    {kPairByte, 0xE3, Kind::kPair},
    {kLastDigitByte, 0xED, Kind::kLastDigit},
    {kMinusDigitByte, 0xF7, Kind::kMinusDigit},
    {kDigitPointByte, 0x0A, Kind::kDigitPoint},
    {kPointDigitByte, 0x14, Kind::kPointDigit},
    {kFillerByte, kFillerByte, Kind::kFiller},
};

struct Code {
  Kind kind = Kind::kInvalid;
  unsigned char length = 0;
  char text[2] = {};
};

constexpr Code MakeCode(Kind kind, int value) {
  const char digit = static_cast<char>('0' + value % 10);
  switch (kind) {
    case Kind::kPair:
      return {kind, 2, {static_cast<char>('0' + value / 10), digit}};
    case Kind::kLastDigit:
      return {kind, 1, {digit}};
    case Kind::kMinusDigit:
      return {kind, 2, {'-', digit}};
    case Kind::kDigitPoint:
      return {kind, 2, {digit, '.'}};
    case Kind::kPointDigit:
      return {kind, 2, {'.', digit}};
    default:
      return {kind, 0, {}};
  }
}

// The meaning of each byte.
constexpr std::array<Code, 256> kCodes = [] {
  std::array<Code, 256> codes{};
  for (const KindRange& range : kKinds) {
    for (int byte = range.first; byte <= range.last; ++byte) {
      codes[static_cast<std::size_t>(byte)] = MakeCode(range.kind, byte - range.first);
    }
  }
  return codes;
}();

bool CanBeFirst(Kind kind) {
  return kind != Kind::kInvalid && kind != Kind::kPointDigit && kind != Kind::kFiller;
}

bool CanBeLast(Kind kind) {
  return kind == Kind::kFiller || kind == Kind::kPair || kind == Kind::kLastDigit ||
         kind == Kind::kPointDigit;
}

void FillBlanks(unsigned char* field, std::size_t size) {
  std::size_t used = size;
  while (used > 0 && field[used - 1] == ' ') --used;
  if (used == size) return;
  std::memset(field + used, kFillerByte, size - used);
  if (used == 0) field[0] = kLastDigitByte;
}

// Appends the text of the bytes up to the end of the number. Returns its length, or -1.
int Decode(const unsigned char* field, std::size_t size, bool with_point, char (&text)[kNumberText]) {
  std::size_t length = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const Code& code = kCodes[field[i]];
    if (code.kind == Kind::kFiller) break;
    const bool has_point = code.kind == Kind::kDigitPoint || code.kind == Kind::kPointDigit;
    if (code.kind == Kind::kInvalid || (has_point && !with_point)) return -1;
    if (length + code.length >= kNumberText) return -1;
    std::copy_n(code.text, 2, text + length);
    length += code.length;
    if (code.kind == Kind::kLastDigit) break;
  }
  return static_cast<int>(length);
}

// Uses only the low four bits of a character.
int Digit(char character) {
  return character & 0x0F;
}

// Passes the bytes of the number to `emit`, in order.
template <typename Emit>
void Encode(const char* text, Emit emit) {
  // Skips a sign or point and the digit that should follow.
  const auto pass_two = [&text] { text += text[1] == 0 ? 1 : 2; };
  if (text[0] == '-') {
    emit(kMinusDigitByte + Digit(text[1]));
    pass_two();
  }
  while (*text != 0) {
    if (text[0] == '.') {
      emit(kPointDigitByte + Digit(text[1]));
      pass_two();
    } else if (text[1] == 0) {
      emit(kLastDigitByte + Digit(text[0]));
      text += 1;
    } else {
      emit(text[1] == '.' ? kDigitPointByte + Digit(text[0])
                          : kPairByte + 10 * Digit(text[0]) + Digit(text[1]));
      text += 2;
    }
  }
}

}  // namespace

bool UnpackNumber(unsigned char* field, int size, int decimals, char (&text)[kNumberText]) {
  text[0] = 0;
  if (size <= 0) return false;
  const auto bytes = static_cast<std::size_t>(size);
  FillBlanks(field, bytes);
  if (!CanBeFirst(kCodes[field[0]].kind)) return false;
  if (size > 1 && !CanBeLast(kCodes[field[bytes - 1]].kind)) return false;
  const int length = Decode(field, bytes, decimals != 0, text);
  text[std::max(length, 0)] = 0;
  return length >= 0;
}

bool PackNumber(unsigned char* field, int size, const char* text) {
  int needed = 0;
  Encode(text, [&needed](int) { ++needed; });
  if (needed > size) return false;
  unsigned char* next = field;
  Encode(text, [&next](int code) { *next++ = static_cast<unsigned char>(code); });
  std::fill(next, field + size, kFillerByte);
  return true;
}

}  // namespace tvl
