#include "platform/search.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "platform/common/name_pattern.h"
#include "platform/folder.h"
#include "platform/last_error.h"
#include "platform/windows/folder_entries.h"
#include "platform/windows/folder_path.h"
#include "store/part_name.h"

namespace {

namespace native = tvl::native;

// Trivially destructible, because connections that are closed while the process exits still search.
constinit thread_local bool came_to_end = true;

class Search {
 public:
  explicit Search(tvl::SearchAim aim)
      : aim_(std::move(aim)), entries_(tvl::HostPath(aim_.path.c_str()).Text()) {}

  bool Next(WIN32_FIND_DATAA* found) {
    while (const native::Entry* entry = NextEntry()) {
      if (!tvl::IsPatternMatch(aim_.pattern, entry->name)) continue;
      if (aim_.scope != tvl::SearchScope::kAll && tvl::IsPartName(entry->name)) continue;
      found->unreachable = tvl::Unreachable::kNo;
      found->dwFileAttributes = AttributesOf(*entry);
      constexpr DWORD kLinkToFolder = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
      if ((found->dwFileAttributes & kLinkToFolder) == kLinkToFolder && LeadsBack(*entry))
        found->unreachable = tvl::Unreachable::kLeadsBack;
      if (found->unreachable != tvl::Unreachable::kNo && aim_.scope == tvl::SearchScope::kReachable) continue;
      std::memcpy(found->cFileName, entry->name, sizeof found->cFileName);
      return true;
    }
    return false;
  }

 private:
  static_assert(sizeof(native::Entry::name) == sizeof(WIN32_FIND_DATAA::cFileName));

  const native::Entry* NextEntry() {
    const native::Entry* entry = entries_.Next();
    came_to_end = entry == nullptr && entries_.Problem() == 0;
    if (entry == nullptr && entries_.Problem() != 0) tvl::NoteError(aim_.path.c_str(), entries_.Problem());
    return entry;
  }

  // Other reparse points than links, such as files in a cloud, are what they contain.
  DWORD AttributesOf(const native::Entry& entry) const {
    if ((entry.attributes & native::kLinkAttribute) != 0) {
      const DWORD attributes = GetFileAttributesA((aim_.path + entry.name).c_str());
      if (attributes != INVALID_FILE_ATTRIBUTES) return attributes;
    }
    return (entry.attributes & native::kFolderAttribute) != 0 ? FILE_ATTRIBUTE_DIRECTORY
                                                              : FILE_ATTRIBUTE_NORMAL;
  }

  // Returns true for a link to the searched folder or one of its parents on the path that led here.
  bool LeadsBack(const native::Entry& entry) const {
    native::Status target = {};
    if (native::StatusOf((aim_.path + entry.name).c_str(), true, &target) != 0) return false;
    char path[tvl::kMaxPath];
    const std::size_t length = native::FullPath(aim_.path.c_str(), path, sizeof path);
    if (length == 0 || length >= sizeof path) return true;  // a walk must end
    std::string way(path, length);
    for (std::size_t end = way.rfind('\\'); end != std::string::npos; end = way.rfind('\\')) {
      native::Status parent = {};
      way.resize(end + 1);
      if (native::StatusOf(way.c_str(), true, &parent) == 0 && parent.IsSameFile(target)) return true;
      way.resize(end);
    }
    return false;
  }

  tvl::SearchAim aim_;
  tvl::FolderEntries entries_;
};

Search* AsSearch(HANDLE search) {
  return reinterpret_cast<Search*>(search);
}

HANDLE First(tvl::SearchAim aim, WIN32_FIND_DATAA* found) {
  auto search = std::make_unique<Search>(std::move(aim));
  return search->Next(found) ? reinterpret_cast<HANDLE>(search.release()) : INVALID_HANDLE_VALUE;
}

HANDLE FailForMemory(const char* what) {
  came_to_end = false;
  tvl::NoteError(what, ENOMEM);
  return INVALID_HANDLE_VALUE;
}

}  // namespace

HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATAA* found) {
  return tvl::FindFirst(pattern, found, tvl::SearchScope::kReachable);
}

HANDLE tvl::FindFirst(const char* pattern, WIN32_FIND_DATAA* found, SearchScope scope) try {
  return First(SearchAimOf(pattern, scope), found);
} catch (const std::bad_alloc&) {
  return FailForMemory(pattern);
}

HANDLE tvl::FindFirstIn(const Folder& folder, const char* path, const char* pattern,
                        WIN32_FIND_DATAA* found) try {
  came_to_end = false;
  if (!folder.IsOpen()) {
    NoteError(path, folder.Problem());
    return INVALID_HANDLE_VALUE;
  }
  return First({FolderPathOf(folder.ListingHandle())->text + "\\", pattern, SearchScope::kEverything}, found);
} catch (const std::bad_alloc&) {
  return FailForMemory(path);
}

BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* found) {
  return AsSearch(search)->Next(found) ? 1 : 0;
}

BOOL FindClose(HANDLE search) {
  delete AsSearch(search);
  return 1;
}

bool tvl::SearchCameToEnd() {
  return came_to_end;
}
