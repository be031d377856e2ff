#ifndef TVL_RECORD_PACKED_NUMBER_H
#define TVL_RECORD_PACKED_NUMBER_H

#include <cstddef>

// Decimal numbers two digits to a byte, from the first digit on, with filler behind them: the code of a
// number doesn't depend on the size of its field.

namespace tvl {

// Longest text of a number, with its terminator.
constexpr std::size_t kNumberText = 128;

// Decodes the `size` bytes of a field. False if they are no number; `text` is then empty.
//
// Blanks at the end of the field are turned into filler, in the field, whatever comes out: records made of
// blanks hold zeros. Points are refused where the schema gives no `decimals`.
[[nodiscard]] bool UnpackNumber(unsigned char* field, int size, int decimals, char (&text)[kNumberText]);

// Encodes `text`. False, and the field is as it was, if that takes more than `size` bytes.
[[nodiscard]] bool PackNumber(unsigned char* field, int size, const char* text);

}  // namespace tvl

#endif
