#include "platform/search.h"

#include <cerrno>
#include <new>
#include <string_view>

#include "platform/common/search_steps.h"
#include "platform/last_error.h"
#include "store/part_name.h"

namespace tvl {
namespace {

// Trivially destructible, because connections that are closed while the process exits still search.
constinit thread_local bool came_to_end = true;

Search* AsSearch(HANDLE search) {
  return reinterpret_cast<Search*>(search);
}

template <typename Start>
HANDLE FirstOf(const char* what, WIN32_FIND_DATAA* found, Start start) try {
  std::unique_ptr<Search> search = start();
  return search->Next(found) ? reinterpret_cast<HANDLE>(search.release()) : INVALID_HANDLE_VALUE;
} catch (const std::bad_alloc&) {
  came_to_end = false;
  NoteError(what, ENOMEM);
  return INVALID_HANDLE_VALUE;
}

}  // namespace

bool Search::IsWanted(std::string_view name) const {
  if (name.size() >= sizeof WIN32_FIND_DATAA::cFileName || !IsPatternMatch(aim_.pattern, name)) return false;
  return aim_.scope == SearchScope::kAll || !IsPartName(name);
}

bool Search::Next(WIN32_FIND_DATAA* found) {
  came_to_end = false;
  while (const char* entry = NextName()) {
    const std::string_view name = entry;
    if (!IsWanted(name)) continue;
    found->unreachable = Unreachable::kNo;
    Describe(*found);
    if (found->unreachable != Unreachable::kNo && aim_.scope == SearchScope::kReachable) continue;
    name.copy(found->cFileName, name.size());
    found->cFileName[name.size()] = 0;
    return true;
  }
  came_to_end = Problem() == 0;
  if (!came_to_end) NoteError(aim_.path.c_str(), Problem());
  return false;
}

HANDLE FindFirst(const char* pattern, WIN32_FIND_DATAA* found, SearchScope scope) {
  return FirstOf(pattern, found, [&] { return NewSearch(SearchAimOf(pattern, scope)); });
}

HANDLE FindFirstIn(const Folder& folder, const char* path, const char* pattern, WIN32_FIND_DATAA* found) {
  return FirstOf(path, found, [&] {
    return NewSearchIn(folder, {std::string(path) + "\\", pattern, SearchScope::kEverything});
  });
}

bool SearchCameToEnd() {
  return came_to_end;
}

}  // namespace tvl

HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATAA* found) {
  return tvl::FindFirst(pattern, found, tvl::SearchScope::kReachable);
}

BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* found) {
  return tvl::AsSearch(search)->Next(found) ? 1 : 0;
}

BOOL FindClose(HANDLE search) {
  delete tvl::AsSearch(search);
  return 1;
}
