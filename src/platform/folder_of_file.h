#ifndef TVL_PLATFORM_FOLDER_OF_FILE_H
#define TVL_PLATFORM_FOLDER_OF_FILE_H

#include <string>

// The folder that a file is in. All paths are host paths; std::bad_alloc may pass.

namespace tvl {

// With its trailing slash; "./" for a bare name.
[[nodiscard]] std::string FolderOf(const std::string& path);

// A descriptor, or -1.
[[nodiscard]] int OpenFolderOf(const std::string& path);

// Has the open file or folder on the disk. Returns 0 or an errno value.
[[nodiscard]] int Sync(int file);

// Has the names in the folder of `path` on the disk. A file system that cannot sync folders keeps them
// itself, which is not a failure.
[[nodiscard]] bool SyncFolderOf(const std::string& path);

// The same for the folders above the one of `path`, up to `base`; both are paths of the logic.
[[nodiscard]] bool SyncFoldersBetween(const char* base, const char* path);

// The group's bits of a folder that hands its group down (setgid), or -1.
[[nodiscard]] int InheritedGroupBits(const std::string& folder);

}  // namespace tvl

#endif
