#ifndef TVL_BASE_FOLDER_WALK_H
#define TVL_BASE_FOLDER_WALK_H

#include <cstring>

#include "base/pump.h"
#include "platform/search.h"

namespace tvl {

// A search over a folder that closes itself.
class FolderSearch {
 public:
  // `pattern`: the folder's path, a backslash and a pattern.
  explicit FolderSearch(const char* pattern) : search_(FindFirstFileA(pattern, &found_)) {}
  ~FolderSearch() {
    if (IsOpen()) FindClose(search_);
  }
  FolderSearch(const FolderSearch&) = delete;
  FolderSearch& operator=(const FolderSearch&) = delete;

  [[nodiscard]] bool IsOpen() const { return search_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] const char* Name() const { return found_.cFileName; }
  [[nodiscard]] bool Next() { return FindNextFileA(search_, &found_) != 0; }

 private:
  WIN32_FIND_DATAA found_ = {};
  HANDLE search_;
};

[[nodiscard]] inline bool IsDotName(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// Calls `visit` with the name of every entry that matches, in the order in which the file system gives them,
// the names
// "." and ".." left out, until it gives false. `between` runs once when the search is open and once behind
// each entry. False if `visit` ended it.
template <typename Visit, typename Between>
bool VisitEntries(const char* pattern, Visit visit, Between between) {
  FolderSearch search(pattern);
  between();
  for (bool more = search.IsOpen(); more; more = search.Next()) {
    if (!IsDotName(search.Name()) && !visit(search.Name())) return false;
    between();
  }
  return true;
}

// The same with the message pump in between, so the application stays alive during a long walk.
template <typename Visit>
bool VisitFolder(const char* pattern, Visit visit) {
  return VisitEntries(pattern, visit, PumpMessages);
}

}  // namespace tvl

#endif
