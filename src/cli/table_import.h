#ifndef TVL_CLI_TABLE_IMPORT_H
#define TVL_CLI_TABLE_IMPORT_H

#include <string>

#include "cli/table.h"

namespace tvl::cli {

// Names of the values that are keys, not fields.
constexpr char kKey1Name[] = "key1";
constexpr char kKey2Name[] = "key2";

// The whole contents of what is imported.
struct ImportText {
  std::string text;
  bool may_be_cut = false;  // a pipe, which ends in the same way when its writer was killed
};

// Reads a file, or standard input for "-", to its end. Throws Stop if any part cannot be read.
[[nodiscard]] ImportText ReadImport(const std::string& name);

// Append rows to those of the table in memory and return their number. The first record of comma-separated
// values names the columns; a line of JSON names each value. Anything that cannot be stored as it is throws
// Stop with the number of its line, so that nothing is written.
[[nodiscard]] int ImportCsv(const ImportText& input, const Schema& schema, Table& table);
[[nodiscard]] int ImportJson(const ImportText& input, const Schema& schema, Table& table);

}  // namespace tvl::cli

#endif
