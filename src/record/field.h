#ifndef TVL_RECORD_FIELD_H
#define TVL_RECORD_FIELD_H

#include <cstddef>

#include <tvlclient/record.h>

// Access to the fields of a record in memory.

namespace tvl {

// Copies the value as a text without trailing blanks, cut to `capacity` bytes including the terminator.
// Returns false with "0" if a number field does not contain a number. `destination` may be inside the record:
// the value is read completely before anything is written.
[[nodiscard]] bool GetField(const _format_& field, unsigned char* record, char* destination,
                            std::size_t capacity);

// Stores a value. A text is cut to fit its field. Returns false with an unchanged field for a number that
// does not fit.
[[nodiscard]] bool SetField(const _format_& field, unsigned char* record, const char* text);

}  // namespace tvl

#endif
