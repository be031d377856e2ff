#ifndef TVL_BASE_FOLDER_WALK_H
#define TVL_BASE_FOLDER_WALK_H

#include <cstring>

#include "base/fixed_text.h"
#include "base/pump.h"
#include "base/stop.h"
#include "platform/folder.h"
#include "platform/search.h"

namespace tvl {

// A search over a folder that closes itself.
class FolderSearch {
 public:
  // `pattern`: the folder's path, a backslash and a pattern.
  explicit FolderSearch(const char* pattern, SearchScope scope = SearchScope::kReachable)
      : search_(FindFirst(pattern, &found_, scope)) {}
  // In an open folder at `path`, unreachable names included.
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
  kStopped,  // by the visitor or by the application (stop.h)
  kBroken,   // the folder could not be read, or not to its end
};

// Calls `visit` with every entry that `search`, just started, finds, in the order in which the file system
// returns them, without the names "." and "..", until it returns false. `between` runs once when the search
// is open and once after each entry.
template <typename Visit, typename Between>
[[nodiscard]] WalkEnd VisitFound(FolderSearch& search, Visit visit, Between between) {
  bool whole = SearchCameToEnd();  // asked after each step, before another search can begin
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

// Visits the entries of a folder that match, with the message pump in between, so that the application stays
// responsive. False if the walk was stopped; a folder that cannot be read counts as an empty one.
template <typename Visit>
bool VisitFolder(const PathText& pattern, Visit visit, SearchScope scope = SearchScope::kReachable) {
  if (!pattern.Fits()) return true;
  FolderSearch search(pattern.Text(), scope);
  return VisitFound(search, visit, PumpMessages) != WalkEnd::kStopped;
}

}  // namespace tvl

#endif
