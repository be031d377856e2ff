#include "cli/output/columns.h"

#include <algorithm>

#include "cli/output/text.h"

namespace tvl::cli {
std::vector<std::string> InColumns(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(rows.empty() ? 0 : rows.front().size());
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < widths.size(); ++i)
      widths[i] = std::max(widths[i], ColumnsOf(Printable(row[i])));
  }
  std::vector<std::string> lines;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < widths.size(); ++i) {
      line += Printable(row[i]);
      if (i + 1 < widths.size()) line.append(widths[i] - ColumnsOf(Printable(row[i])) + 2, ' ');
    }
    lines.push_back(line);
  }
  return lines;
}

}  // namespace tvl::cli
