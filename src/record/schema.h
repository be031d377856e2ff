#ifndef TVL_RECORD_SCHEMA_H
#define TVL_RECORD_SCHEMA_H

#include <cstddef>
#include <span>

#include <tvlclient/record.h>

namespace tvl {

// Returns the number of field descriptions in a schema.
[[nodiscard]] std::size_t CountFields(const char* schema);

// Fills `fields`, one for each description. Returns false for an invalid description, and for fields beyond
// the end of the record.
[[nodiscard]] bool ParseSchema(const char* schema, int recordLength, std::span<_format_> fields);

// Returns the first field with that name, regardless of case, or null.
[[nodiscard]] const _format_* FindField(std::span<const _format_> fields, const char* name);

}  // namespace tvl

#endif
