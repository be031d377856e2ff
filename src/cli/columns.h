#ifndef TVL_CLI_COLUMNS_H
#define TVL_CLI_COLUMNS_H

#include <string>
#include <vector>

namespace tvl::cli {

// Lines in which the cells of each row stand in columns, two blanks between. All rows have as many cells as
// the first.
[[nodiscard]] std::vector<std::string> InColumns(const std::vector<std::vector<std::string>>& rows);

}  // namespace tvl::cli

#endif
