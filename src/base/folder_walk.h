#ifndef TVL_BASE_FOLDER_WALK_H
#define TVL_BASE_FOLDER_WALK_H

#include <cstring>

#include "base/fixed_text.h"
#include "base/pump.h"
#include "platform/search.h"

namespace tvl {

// A search over a folder that closes itself.
class FolderSearch {
 public:
  // `pattern`: the folder's path, a backslash and a pattern.
  explicit FolderSearch(const char* pattern, FolderLinks links = FolderLinks::kLeadingOn)
      : search_(FindFirst(pattern, &found_, links)) {}
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
  kStopped,  // the visitor said so
  kBroken,   // the folder could not be read, or not to its end
};

// Calls `visit` with every entry that matches, in the order in which the file system gives them, the names
// "." and ".." left out, until it gives false. `between` runs once when the search is open and once behind
// each entry.
template <typename Visit, typename Between>
[[nodiscard]] WalkEnd VisitEntries(const PathText& pattern, Visit visit, Between between,
                                   FolderLinks links = FolderLinks::kLeadingOn) {
  if (!pattern.Fits()) return WalkEnd::kBroken;
  FolderSearch search(pattern.Text(), links);
  bool whole = SearchCameToEnd();  // asked behind each step, before another search can begin
  between();
  for (bool more = search.IsOpen(); more;) {
    if (!IsDotName(search.Found().cFileName) && !visit(search.Found())) return WalkEnd::kStopped;
    between();
    more = search.Next();
    whole = SearchCameToEnd();
  }
  return whole ? WalkEnd::kWhole : WalkEnd::kBroken;
}

// The same with the message pump in between, so the application stays alive during a long walk. False if
// `visit` ended it; a folder that can't be read counts as an empty one.
template <typename Visit>
bool VisitFolder(const PathText& pattern, Visit visit, FolderLinks links = FolderLinks::kLeadingOn) {
  return VisitEntries(pattern, visit, PumpMessages, links) != WalkEnd::kStopped;
}

}  // namespace tvl

#endif
