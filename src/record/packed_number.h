#ifndef TVL_RECORD_PACKED_NUMBER_H
#define TVL_RECORD_PACKED_NUMBER_H

#include <cstddef>

// Decimal numbers with two digits per byte, starting with the first digit and followed by filler. The
// encoding of a number does not depend on the size of its field.

namespace tvl {

// Length of the longest text of a number, including the terminator.
constexpr std::size_t kNumberText = 128;

// Decodes the `size` bytes of a field. Returns false with an empty `text` if they are not a number.
//
// Always replaces trailing blanks in the field by filler, so that records made of blanks contain zeros.
// Points are refused if the schema has no `decimals`.
[[nodiscard]] bool UnpackNumber(unsigned char* field, int size, int decimals, char (&text)[kNumberText]);

// Encodes `text`. Returns false with an unchanged field if this takes more than `size` bytes.
[[nodiscard]] bool PackNumber(unsigned char* field, int size, const char* text);

}  // namespace tvl

#endif
