#ifndef TVL_STORE_LEFTOVERS_H
#define TVL_STORE_LEFTOVERS_H

#include <string>
#include <vector>

#include <tvlclient/store.h>

namespace tvl {

// Finds what killed programs left in a store and nobody holds: parts at and below the root, and markers,
// finished or not. Sorted.
[[nodiscard]] std::vector<std::string> FindLeftovers(const TVLStoreLayout& layout);

}  // namespace tvl

#endif
