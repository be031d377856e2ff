#ifndef TVL_CLI_TABLES_TABLE_IMPORT_H
#define TVL_CLI_TABLES_TABLE_IMPORT_H

#include <string>

#include "cli/tables/table.h"

namespace tvl::cli {

// Column names of the keys.
constexpr char kKey1Name[] = "key1";
constexpr char kKey2Name[] = "key2";

// The complete text to import.
struct ImportText {
  std::string text;
  bool may_be_cut = false;  // read from a pipe, which also ends if its writer is killed
};

// Reads a file, or standard input for "-", to its end. Throws Stop if any part cannot be read.
[[nodiscard]] ImportText ReadImport(const std::string& name);

// Append rows to those of the table in memory and return their number. The first record of comma-separated
// values contains the column names; each line of JSON names its values. Throw Stop with the line number for a
// value that cannot be stored unchanged, so that nothing is written.
[[nodiscard]] int ImportCsv(const ImportText& input, const Schema& schema, Table& table);
[[nodiscard]] int ImportJson(const ImportText& input, const Schema& schema, Table& table);

}  // namespace tvl::cli

#endif
