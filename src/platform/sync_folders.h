#ifndef TVL_PLATFORM_SYNC_FOLDERS_H
#define TVL_PLATFORM_SYNC_FOLDERS_H

namespace tvl {

// Syncs the names in the parents of the folder of `path`, up to `base`, to the disk. Both paths contain
// backslashes.
[[nodiscard]] bool SyncFoldersBetween(const char* base, const char* path);

}  // namespace tvl

#endif
