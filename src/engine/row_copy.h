#ifndef TVL_ENGINE_ROW_COPY_H
#define TVL_ENGINE_ROW_COPY_H

#include <cstdint>
#include <optional>

#include "engine/table.h"

namespace tvl::engine {

// The rows of a table, in the order of key 1: their number, and a digest of all keys and records.
struct RowSum {
  std::uint64_t rows = 0;
  std::uint64_t digest = 0;
  bool operator==(const RowSum&) const = default;
};

// Copies all rows of `source`, in which a batch is open, to `target`, an empty table with the same lengths,
// in one batch. Returns nothing and notes an error if a row cannot be read or written, or is damaged.
[[nodiscard]] std::optional<RowSum> CopyRows(Table& source, Table& target);

// Reads all rows of a table as one snapshot. Returns nothing and notes an error if that fails.
[[nodiscard]] std::optional<RowSum> SumRows(Table& table);

}  // namespace tvl::engine

#endif
