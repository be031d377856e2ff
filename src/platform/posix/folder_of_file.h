#ifndef TVL_PLATFORM_POSIX_FOLDER_OF_FILE_H
#define TVL_PLATFORM_POSIX_FOLDER_OF_FILE_H

#include <string>

// Operations on the folder that contains a file. All paths are host paths. May throw std::bad_alloc.

namespace tvl {

// SyncFolderOf of host/sync.h. On failure, records the reason (last_error.h) and returns false.
[[nodiscard]] bool SyncNameOf(const std::string& path);

// Returns the group bits of a folder with the setgid bit, or -1.
[[nodiscard]] int InheritedGroupBits(const std::string& folder);

}  // namespace tvl

#endif
