#ifndef TVL_ENGINE_POSTGRES_STATEMENTS_H
#define TVL_ENGINE_POSTGRES_STATEMENTS_H

#include <array>
#include <cstddef>
#include <string>

#include "engine/postgres/session.h"
#include "engine/storage_plugin.h"

namespace tvl::engine {

constexpr std::size_t kReadModes = 5;

// Returns the qualified, quoted name of the table with the rows, and of the catalog of all tables.
[[nodiscard]] std::string RowsName(const RemotePlace& place);
[[nodiscard]] std::string CatalogName(const Permission& permission);

// The statements of one table. Keys and records are passed as bytes, so they are compared as bytes.
struct Statements {
  explicit Statements(const RemotePlace& place);

  std::array<Statement, 2 * kReadModes> reads;  // by key number and mode; parameters: key, number of rows
  Statement write;                              // key 1, key 2, record
  Statement write_keeping_key2;                 // the same, but a replaced row keeps its key 2
  Statement delete_by_key1;
  Statement delete_by_key2;
  Statement delete_by_both;

  // Lock the table in a transaction, and return its number: for a single change, which others may accompany,
  // and for a batch, which is alone. Columns: number of the transaction, whether commits wait for a standby.
  Statement lock_for_change;
  Statement lock_for_batch;

  // Whether the last change is in the table: one row for a written one (key 1, record), and none for a
  // deletion, with its parameters.
  std::string written_row;
  std::string row_of_key1;
  std::string row_of_key2;
  std::string row_of_both;
};

}  // namespace tvl::engine

#endif
