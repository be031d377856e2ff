#ifndef TVL_PLATFORM_SEARCH_H
#define TVL_PLATFORM_SEARCH_H

#include "platform/files.h"
#include "platform/host_path.h"

struct WIN32_FIND_DATAA {
  DWORD dwFileAttributes;  // as GetFileAttributesA tells them
  char cFileName[tvl::kMaxPath];
};

// Starts a search over the names of one folder: `pattern` is the folder's path, a separator and a pattern of
// characters, `*` and `?`, matched without regard to letter case; "*.*" matches every name. The names "." and
// ".." come too. The order is the file system's. INVALID_HANDLE_VALUE if nothing matches or the folder can't
// be read.
//
// Left out are names that hold a backslash, which no path of the logic could tell from a folder and a name,
// links to a folder that lead to the searched one or one above it, so that a walk ends, and parts of files
// that are being written (parts.h).
HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATAA* found);

// The next match. 0 when there is none, or the folder can't be read on.
BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* found);

BOOL FindClose(HANDLE search);

namespace tvl {

// Which links to folders a search returns. A walk that follows them takes those that lead on; one that
// removes what it finds takes all, and parts too.
enum class FolderLinks { kLeadingOn, kAll };

// FindFirstFileA, with a choice of links.
HANDLE FindFirst(const char* pattern, WIN32_FIND_DATAA* found, FolderLinks links);

// Why the calling thread's last FindFirstFileA or FindNextFileA gave nothing: true if there was nothing more
// to give, false if the folder could not be read. Whoever deletes what a search does not give has to know.
[[nodiscard]] bool SearchCameToEnd();

}  // namespace tvl

#endif
