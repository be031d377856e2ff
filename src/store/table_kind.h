#ifndef TVL_STORE_TABLE_KIND_H
#define TVL_STORE_TABLE_KIND_H

#include <string_view>

namespace tvl {

enum class TableKind {
  kNone,       // not a table
  kFile,       // the rows are in the file, also while it is being created
  kElsewhere,  // the rows are in a database server
};

// The number of bytes at the start of a file that decide.
constexpr unsigned int kTableStart = 72;

// What a file is whose name is that of a table, and which starts with `bytes`.
[[nodiscard]] TableKind TableKindOf(std::string_view bytes);

}  // namespace tvl

#endif
