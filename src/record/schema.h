#ifndef TVL_RECORD_SCHEMA_H
#define TVL_RECORD_SCHEMA_H

#include <cstddef>
#include <span>

#include <tvlclient/record.h>

namespace tvl {

// Number of field descriptions in a schema.
[[nodiscard]] std::size_t CountFields(const char* schema);

// Fills `fields`, one for each description. False for a description that can't be read and for fields that
// reach beyond the record.
[[nodiscard]] bool ParseSchema(const char* schema, int recordLength, std::span<_format_> fields);

// The first field of that name in any case, or null.
[[nodiscard]] const _format_* FindField(std::span<const _format_> fields, const char* name);

}  // namespace tvl

#endif
