#ifndef TVL_PLATFORM_FOLDER_OF_FILE_H
#define TVL_PLATFORM_FOLDER_OF_FILE_H

#include <string>

// Operations on the folder that contains a file. All paths are host paths. May throw std::bad_alloc.

namespace tvl {

// Returns the folder with a trailing slash; "./" for a plain name.
[[nodiscard]] std::string FolderOf(const std::string& path);

// Returns a descriptor, or -1.
[[nodiscard]] int OpenFolderOf(const std::string& path);

// Syncs the open file or folder to the disk. Returns 0 or an errno value.
[[nodiscard]] int Sync(int file);

// Syncs the names in the folder of `path` to the disk. Succeeds on a file system that cannot sync folders,
// because that keeps them safe itself.
[[nodiscard]] bool SyncFolderOf(const std::string& path);

// The same for the parents of the folder of `path`, up to `base`. Both paths contain backslashes.
[[nodiscard]] bool SyncFoldersBetween(const char* base, const char* path);

// Returns the group bits of a folder with the setgid bit, or -1.
[[nodiscard]] int InheritedGroupBits(const std::string& folder);

}  // namespace tvl

#endif
