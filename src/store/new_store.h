#ifndef TVL_STORE_NEW_STORE_H
#define TVL_STORE_NEW_STORE_H

#include <string>
#include <vector>

#include <tvlclient/store.h>

#include "store/failure.h"

namespace tvl {

// Returns a path without "." and doubled slashes; empty if it has none. Only one with ".." is looked up,
// because a link before it decides where it leads; elsewhere the user's own form of the path is what other
// computers see too.
[[nodiscard]] std::string FullPath(const std::string& folder);

// Describes the store to be created in `folder`. Fails where a configuration exists, or where the path cannot
// be written into one and read back the same, or is too long for the names in a store.
[[nodiscard]] StoreFailure PlanStore(const std::string& folder, TVLStoreLayout& layout);

// Describes the store of a configuration, which names these folders. Fails if a marker's path would be too
// long.
[[nodiscard]] StoreFailure DescribeStore(const std::string& configuration, const std::string& root,
                                         const std::string& tmp, TVLStoreLayout& layout);

// What does not exist, in the order of creation.
[[nodiscard]] std::vector<std::string> MissingParts(const TVLStoreLayout& layout);

// Creates a lock table at a path of the host. Returns false, with the reason noted (platform/last_error.h),
// if it cannot.
using CreateLockTable = bool (*)(const char* path);

// Creates what does not exist, with the rights of the folder it is in; a configuration that cannot be
// completed to a store is removed again. `group`, unless below 0: a root gets this group and the setgid bit.
// `database`, unless null: a new configuration gets a tables.ini that names this server, with a new id of the
// store. Fails if an instance is connected to a store with a part missing: it may use a lock table that was
// moved away, and a new one would divide it from the others.
[[nodiscard]] StoreFailure CreateMissingParts(const TVLStoreLayout& layout, int group,
                                              const TVLDatabase* database, CreateLockTable create_table);

// Returns the path of the tables.ini of a store.
[[nodiscard]] std::string TablesFileOf(const TVLStoreLayout& layout);

// The text that follows "DocumentRoot=" in a configuration and reads as `root` again.
[[nodiscard]] std::string ConfigurationValue(const std::string& root);

}  // namespace tvl

#endif
