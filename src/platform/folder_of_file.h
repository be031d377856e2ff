#ifndef TVL_PLATFORM_FOLDER_OF_FILE_H
#define TVL_PLATFORM_FOLDER_OF_FILE_H

#include <string>

// Operations on the folder that contains a file. All paths are host paths. May throw std::bad_alloc.

namespace tvl {

// SyncFolderOf of host/sync.h. Returns false, and notes why (last_error.h), if it fails.
[[nodiscard]] bool SyncNameOf(const std::string& path);

// The same for the parents of the folder of `path`, up to `base`. Both paths contain backslashes.
[[nodiscard]] bool SyncFoldersBetween(const char* base, const char* path);

// Returns the group bits of a folder with the setgid bit, or -1.
[[nodiscard]] int InheritedGroupBits(const std::string& folder);

}  // namespace tvl

#endif
