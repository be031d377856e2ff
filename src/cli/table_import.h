#ifndef TVL_CLI_TABLE_IMPORT_H
#define TVL_CLI_TABLE_IMPORT_H

#include <iosfwd>

#include "cli/table.h"

namespace tvl::cli {

// Names of the values that are keys and no fields.
constexpr char kKey1Name[] = "key1";
constexpr char kKey2Name[] = "key2";

// Puts rows behind those of the table, in memory; the number of them. The first record of comma-separated
// values names the columns; a line of JSON names each value. A name that the schema doesn't have, or a row
// without key1, throws Stop with the line's number, and nothing is written then.
[[nodiscard]] int ImportCsv(std::istream& input, const Schema& schema, Table& table);
[[nodiscard]] int ImportJson(std::istream& input, const Schema& schema, Table& table);

}  // namespace tvl::cli

#endif
