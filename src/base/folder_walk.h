#ifndef TVL_BASE_FOLDER_WALK_H
#define TVL_BASE_FOLDER_WALK_H

#include <cstring>

#include "base/fixed_text.h"
#include "base/pump.h"
#include "base/stop.h"
#include "platform/folder.h"
#include "platform/search.h"

namespace tvl {

// A search in a folder that is closed automatically.
class FolderSearch {
 public:
  // `pattern` consists of the path of the folder, a backslash and a pattern.
  explicit FolderSearch(const char* pattern, SearchScope scope = SearchScope::kReachable)
      : search_(FindFirst(pattern, &found_, scope)) {}
  // Searches an open folder at `path`, including names that no path can express.
  FolderSearch(const Folder& folder, const char* path, const char* pattern)
      : search_(FindFirstIn(folder, path, pattern, &found_)) {}
  ~FolderSearch() {
    if (IsOpen()) FindClose(search_);
  }
  FolderSearch(const FolderSearch&) = delete;
  FolderSearch& operator=(const FolderSearch&) = delete;

  [[nodiscard]] bool IsOpen() const { return search_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] const WIN32_FIND_DATAA& Found() const { return found_; }
  [[nodiscard]] bool Next() { return FindNextFileA(search_, &found_) != 0; }

 private:
  WIN32_FIND_DATAA found_ = {};
  HANDLE search_;
};

[[nodiscard]] inline bool IsDotName(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

enum class WalkEnd {
  kWhole,
  kStopped,  // the visitor or the application (stop.h) ended the walk
  kBroken,   // the folder could not be read, or not completely
};

// Calls `visit` with every entry of a search that was just started, in the order of the file system and
// without "." and "..", until it returns false. Calls `between` once when the search is open and once after
// each entry.
template <typename Visit, typename Between>
[[nodiscard]] WalkEnd VisitFound(FolderSearch& search, Visit visit, Between between) {
  bool whole = SearchCameToEnd();  // must be called after each step, before another search begins
  between();
  for (bool more = search.IsOpen(); more;) {
    if (!IsDotName(search.Found().cFileName) && !visit(search.Found())) return WalkEnd::kStopped;
    between();
    if (StopRequested()) return WalkEnd::kStopped;
    more = search.Next();
    whole = SearchCameToEnd();
  }
  return whole ? WalkEnd::kWhole : WalkEnd::kBroken;
}

// Visits the matching entries of a folder and runs the message pump in between, so that the application stays
// responsive. Returns false if the walk was stopped. An unreadable folder counts as empty.
template <typename Visit>
bool VisitFolder(const PathText& pattern, Visit visit, SearchScope scope = SearchScope::kReachable) {
  if (!pattern.Fits()) return true;
  FolderSearch search(pattern.Text(), scope);
  return VisitFound(search, visit, PumpMessages) != WalkEnd::kStopped;
}

}  // namespace tvl

#endif
