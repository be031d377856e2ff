#ifndef TVL_RECORD_FIELD_H
#define TVL_RECORD_FIELD_H

#include <cstddef>

#include <tvlclient/record.h>

// Values of fields in a record's memory.

namespace tvl {

// The value as text, without blanks at its end, cut to `room` bytes with the terminator. False and "0" if the
// field holds no number. `destination` may lie inside the record: the value is taken out whole before
// anything is written.
[[nodiscard]] bool GetField(const _format_& field, unsigned char* record, char* destination,
                            std::size_t room);

// Stores a value. A text is cut to its field; a number that doesn't fit is refused and the field stays.
[[nodiscard]] bool SetField(const _format_& field, unsigned char* record, const char* text);

}  // namespace tvl

#endif
