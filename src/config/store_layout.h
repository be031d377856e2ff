#ifndef TVL_CONFIG_STORE_LAYOUT_H
#define TVL_CONFIG_STORE_LAYOUT_H

#include <tvlclient/store.h>

#include "config/config.h"
#include "store/failure.h"

namespace tvl {

// Describes the store of a configuration that has been read. Fails if a marker's path would be too long.
[[nodiscard]] StoreFailure LayoutOf(CConfig& config, TVLStoreLayout& layout);

}  // namespace tvl

#endif
