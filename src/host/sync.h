#ifndef TVL_HOST_SYNC_H
#define TVL_HOST_SYNC_H

#include <string>

// What must survive a crash of the computer. All results are 0 or an errno value.

namespace tvl {

// Returns the folder of `path` with its trailing slash; "./" for a bare name.
[[nodiscard]] std::string FolderOf(const std::string& path);

// Waits until the open file or folder is on the disk.
[[nodiscard]] int Sync(int file);

// Waits until the names in a folder are on the disk; `name` is relative to `folder`, as in openat(). A file
// system that cannot sync folders keeps the names by itself, which is not a failure.
[[nodiscard]] int SyncFolder(int folder, const char* name);

// The same for the folder of `path`.
[[nodiscard]] int SyncFolderOf(const std::string& path);

}  // namespace tvl

#endif
