#ifndef TVL_PLATFORM_SEARCH_H
#define TVL_PLATFORM_SEARCH_H

#include "platform/files.h"
#include "platform/host_path.h"

namespace tvl {

class Folder;

// Why a path of the logic does not lead on from a name that was found.
enum class Unreachable : unsigned char {
  kNo,
  kBackslash,  // in the name, which no path could distinguish from a folder and a name
  kLeadsBack   // a link to the searched folder or to one above it: a walk through it would not end
};

}  // namespace tvl

struct WIN32_FIND_DATAA {
  DWORD dwFileAttributes;  // as GetFileAttributesA returns them
  char cFileName[tvl::kMaxPath];
  tvl::Unreachable unreachable;  // ours; always kNo where such names are left out
};

// Starts a search over the names of one folder: `pattern` is the folder's path, a separator and a pattern of
// characters, `*` and `?`, matched without regard to letter case; "*.*" matches every name. The names "." and
// ".." are found too. The order is the file system's. INVALID_HANDLE_VALUE if nothing matches or the folder
// cannot be read. Left out are unreachable names and
// parts of files that are being written (store/part_name.h).
HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATAA* found);

// The next match. 0 when there is none, or the folder cannot be read on.
BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* found);

BOOL FindClose(HANDLE search);

namespace tvl {

// kEverything: unreachable names too; kAll: these and parts of files that are being written.
enum class SearchScope { kReachable, kEverything, kAll };

// FindFirstFileA, with a choice whether unreachable names are found.
HANDLE FindFirst(const char* pattern, WIN32_FIND_DATAA* found, SearchScope scope);

// The same in a folder that is open, which must stay so: `path` is its path, `pattern` a pattern for names.
HANDLE FindFirstIn(const Folder& folder, const char* path, const char* pattern, WIN32_FIND_DATAA* found);

// True if a search with `pattern`, for names only, would find `name`.
[[nodiscard]] bool MatchesPattern(const char* pattern, const char* name);

// Why the calling thread's last FindFirstFileA or FindNextFileA found nothing: true at the end of the folder,
// false if the folder could not be read. Anyone who deletes what a search does not find has to know.
[[nodiscard]] bool SearchCameToEnd();

}  // namespace tvl

#endif
