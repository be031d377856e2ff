#ifndef TVL_PLATFORM_SEARCH_H
#define TVL_PLATFORM_SEARCH_H

#include "platform/files.h"
#include "platform/host_path.h"

namespace tvl {

class Folder;

// Why a name that was found cannot be used in a path.
enum class Unreachable : unsigned char {
  kNo,
  kBackslash,  // the name contains a backslash, which paths treat as a separator
  kLeadsBack   // a link to the searched folder or one of its parents: a walk through it would not end
};

}  // namespace tvl

struct WIN32_FIND_DATAA {
  DWORD dwFileAttributes;  // as GetFileAttributesA returns them
  char cFileName[tvl::kMaxPath];
  tvl::Unreachable unreachable;  // an addition; always kNo if such names are omitted
};

// Starts a search over the names of one folder: `pattern` is the folder's path, a separator and a pattern of
// characters, `*` and `?`, matched without regard to letter case; "*.*" matches every name. The names "." and
// ".." are found too. The order is the file system's. INVALID_HANDLE_VALUE if nothing matches or the folder
// cannot be read. Left out are unreachable names and
// parts of files that are being written (store/part_name.h).
HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATAA* found);

// Finds the next match. Returns 0 if there is none, or if reading the folder fails.
BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* found);

BOOL FindClose(HANDLE search);

namespace tvl {

// kEverything includes unreachable names; kAll also includes parts.
enum class SearchScope { kReachable, kEverything, kAll };

// Like FindFirstFileA, with a choice of the names to find.
HANDLE FindFirst(const char* pattern, WIN32_FIND_DATAA* found, SearchScope scope);

// The same in an open folder, which must stay open. `path` is its path, `pattern` a pattern for names.
HANDLE FindFirstIn(const Folder& folder, const char* path, const char* pattern, WIN32_FIND_DATAA* found);

// Returns true if a search with `pattern`, which is for names only, would find `name`.
[[nodiscard]] bool MatchesPattern(const char* pattern, const char* name);

// Returns why the last FindFirstFileA or FindNextFileA of the calling thread found nothing: true at the end
// of the folder, false if the folder could not be read. Code that deletes what a search does not find must
// check this.
[[nodiscard]] bool SearchCameToEnd();

}  // namespace tvl

#endif
