#ifndef TVL_STORE_TABLE_KIND_H
#define TVL_STORE_TABLE_KIND_H

#include <string_view>

namespace tvl {

enum class TableKind {
  kNone,       // not a table
  kFile,       // the rows are in the file, also while it is being created
  kElsewhere,  // the rows are in a database server
};

// How a file starts whose rows are in a database server.
constexpr std::string_view kPointerMark = "TVLTABLE ";

// The application id of a database in a file, whose bytes are "TVLT" there.
constexpr int kApplicationId = 0x54564C54;

// The number of bytes at the start of a file that decide.
constexpr unsigned int kTableStart = 72;

// What a file is whose name is that of a table, and which starts with `bytes`.
[[nodiscard]] TableKind TableKindOf(std::string_view bytes);

}  // namespace tvl

#endif
