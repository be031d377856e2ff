#ifndef TVL_STORE_CHECK_PARTS_H
#define TVL_STORE_CHECK_PARTS_H

#include <tvlclient/store.h>

#include "store/check/finding.h"

namespace tvl {

// The checks of a store that are the same on every system.
[[nodiscard]] Finding CheckParts(const TVLStoreLayout& layout);
[[nodiscard]] Finding CheckSafety(const TVLStoreLayout& layout);
[[nodiscard]] Finding CheckLeftovers(const TVLStoreLayout& layout);

}  // namespace tvl

#endif
