#ifndef TVL_STORE_BACKUP_BACKUP_H
#define TVL_STORE_BACKUP_BACKUP_H

#include <string>

#include <tvlclient/store.h>

#include "store/backup/tree_copy.h"
#include "store/failure.h"

namespace tvl {

// Copies a store into `folder`, as TVLStoreBackup describes.
[[nodiscard]] StoreFailure BackUpStore(const TVLStoreLayout& store, const std::string& folder,
                                       TVL_BACKUP_SCOPE scope, const TreeCopy::CopyTable& copy_table,
                                       const TreeCopy::Report& report);

// Fails if `folder` is `outer` or is in it. Both are full paths, and `folder` need not exist.
[[nodiscard]] StoreFailure CheckIsOutside(const std::string& folder, const std::string& outer,
                                          const char* what);

// Copies a file, or what a link leads to, into a folder, unless it does not exist.
[[nodiscard]] StoreFailure CopyIfThere(const std::string& file, const std::string& folder, const char* name);

}  // namespace tvl

#endif
