#ifndef TVL_CLI_CSV_H
#define TVL_CLI_CSV_H

#include <iosfwd>
#include <string>
#include <vector>

namespace tvl::cli {

// Records of comma-separated values by RFC 4180: a value in quotes may hold commas, line ends and doubled
// quotes.

// The next record; false at the end of the input. A quote that is never closed ends with the input.
[[nodiscard]] bool ReadCsvRecord(std::istream& input, std::vector<std::string>& values);

// A record on one line, without the line's end.
[[nodiscard]] std::string CsvLine(const std::vector<std::string>& values);

}  // namespace tvl::cli

#endif
