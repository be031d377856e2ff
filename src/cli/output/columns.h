#ifndef TVL_CLI_OUTPUT_COLUMNS_H
#define TVL_CLI_OUTPUT_COLUMNS_H

#include <string>
#include <vector>

namespace tvl::cli {

// Aligns the cells of each row in columns separated by two blanks. All rows have as many cells as the first.
[[nodiscard]] std::vector<std::string> InColumns(const std::vector<std::vector<std::string>>& rows);

}  // namespace tvl::cli

#endif
