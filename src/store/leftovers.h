#ifndef TVL_STORE_LEFTOVERS_H
#define TVL_STORE_LEFTOVERS_H

#include <string>
#include <vector>

namespace tvl {

// The parts at and below the folder `root`, a path of the host, that nobody holds: what killed transfers
// left. Sorted.
[[nodiscard]] std::vector<std::string> FindLeftovers(const std::string& root);

}  // namespace tvl

#endif
