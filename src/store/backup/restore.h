#ifndef TVL_STORE_BACKUP_RESTORE_H
#define TVL_STORE_BACKUP_RESTORE_H

#include <functional>
#include <string>

#include <tvlclient/store.h>

#include "store/backup/tree_copy.h"
#include "store/failure.h"
#include "store/new_store.h"

namespace tvl {

// What a restoration needs from higher layers.
struct RestoreServices {
  // Reads a configuration and describes its store.
  std::function<StoreFailure(const char* configuration, TVLStoreLayout& layout)> read_store;
  // Creates the parts of a store that do not exist.
  std::function<StoreFailure(const TVLStoreLayout& layout)> create_missing;
};

// Makes a store of a backup, as TVLStoreRestore describes.
[[nodiscard]] StoreFailure RestoreStore(const std::string& backup, const std::string& folder,
                                        TVL_BACKUP_SCOPE scope, TVLStoreLayout& layout,
                                        const RestoreServices& services, const TreeCopy::Report& report);

}  // namespace tvl

#endif
