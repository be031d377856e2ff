#include "platform/search.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "host/file_identity.h"
#include "host/folder_reader.h"
#include "host/system_calls.h"
#include "platform/common/name_pattern.h"
#include "platform/folder.h"
#include "platform/last_error.h"
#include "platform/posix/descriptor_of.h"
#include "store/part_name.h"

namespace {

// Trivially destructible, because connections that are closed while the process exits still search.
constinit thread_local bool came_to_end = true;

using tvl::IdentityOf;

using tvl::SearchAim;

class Search {
 public:
  explicit Search(SearchAim aim)
      : own_(std::make_unique<tvl::Folder>(aim.path.c_str())), aim_(std::move(aim)) {
    reader_ = ReaderOf(*own_);
  }
  Search(const tvl::Folder& folder, SearchAim aim) : reader_(ReaderOf(folder)), aim_(std::move(aim)) {}

  bool Next(WIN32_FIND_DATAA* found) {
    while (const dirent64* entry = NextEntry()) {
      const std::string_view name = entry->d_name;
      if (name.size() >= sizeof found->cFileName || !tvl::IsPatternMatch(aim_.pattern, name)) continue;
      if (aim_.scope != tvl::SearchScope::kAll && tvl::IsPartName(name)) continue;
      found->unreachable = tvl::Unreachable::kNo;
      FindAttributes(*entry, *found);
      if (name.find('\\') != std::string_view::npos) found->unreachable = tvl::Unreachable::kBackslash;
      if (found->unreachable != tvl::Unreachable::kNo && aim_.scope == tvl::SearchScope::kReachable) continue;
      name.copy(found->cFileName, name.size());
      found->cFileName[name.size()] = 0;
      return true;
    }
    return false;
  }

 private:
  static tvl::FolderReader ReaderOf(const tvl::Folder& folder) {
    return tvl::FolderReader(tvl::DescriptorOf(folder.ListingHandle()), folder.Problem());
  }

  const dirent64* NextEntry() {
    const dirent64* entry = reader_.Next();
    came_to_end = entry == nullptr && reader_.Problem() == 0;
    if (entry == nullptr && reader_.Problem() != 0) tvl::NoteError(aim_.path.c_str(), reader_.Problem());
    return entry;
  }

  // Most file systems report the kind of an entry together with its name.
  void FindAttributes(const dirent64& entry, WIN32_FIND_DATAA& found) const {
    DWORD& attributes = found.dwFileAttributes;
    attributes = entry.d_type == DT_DIR ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return;
    const int folder = reader_.Descriptor();
    struct stat status = {};
    if (tvl::System().fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    const bool is_link = S_ISLNK(status.st_mode);
    attributes = is_link ? FILE_ATTRIBUTE_REPARSE_POINT : 0;
    if (is_link && tvl::System().fstatat(folder, entry.d_name, &status, 0) != 0) return;
    attributes |= S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    if (is_link && S_ISDIR(status.st_mode) && LeadsBack(IdentityOf(status)))
      found.unreachable = tvl::Unreachable::kLeadsBack;
  }

  // Returns true for a folder that is the searched folder or one of its parents, either in the file system or
  // on the path that led here, which may itself contain links.
  bool LeadsBack(const tvl::FileIdentity& folder) const try {
    return IsAtOrAbove(folder, reader_.Descriptor()) || IsOnTheWay(folder);
  } catch (const std::bad_alloc&) {
    return true;  // a walk must end
  }

  static bool IsAtOrAbove(const tvl::FileIdentity& wanted, int folder) {
    std::string way = ".";
    tvl::FileIdentity below;
    for (;;) {
      struct stat status = {};
      if (tvl::System().fstatat(folder, way.c_str(), &status, 0) != 0) return false;
      const tvl::FileIdentity here = IdentityOf(status);
      if (here == wanted) return true;
      if (here == below) return false;  // `..` of the root is the root
      below = here;
      way += "/..";
    }
  }

  bool IsOnTheWay(const tvl::FileIdentity& wanted) const {
    std::string way = tvl::HostPath(aim_.path.c_str()).Text();
    for (std::size_t end = way.rfind('/'); end != std::string::npos; end = way.rfind('/')) {
      way.resize(end);
      if (!way.empty() && IdentityOf(way.c_str()) == wanted) return true;
    }
    return false;
  }

  std::unique_ptr<tvl::Folder> own_;  // null if the folder belongs to the caller
  tvl::FolderReader reader_{-1};
  SearchAim aim_;
};

Search* AsSearch(HANDLE search) {
  return reinterpret_cast<Search*>(search);
}

template <typename Start>
HANDLE FirstOf(const char* what, WIN32_FIND_DATAA* found, Start start) try {
  came_to_end = false;
  std::unique_ptr<Search> search = start();
  return search->Next(found) ? reinterpret_cast<HANDLE>(search.release()) : INVALID_HANDLE_VALUE;
} catch (const std::bad_alloc&) {
  came_to_end = false;
  tvl::NoteError(what, ENOMEM);
  return INVALID_HANDLE_VALUE;
}

}  // namespace

HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATAA* found) {
  return tvl::FindFirst(pattern, found, tvl::SearchScope::kReachable);
}

HANDLE tvl::FindFirst(const char* pattern, WIN32_FIND_DATAA* found, SearchScope scope) {
  return FirstOf(pattern, found, [&] { return std::make_unique<Search>(SearchAimOf(pattern, scope)); });
}

HANDLE tvl::FindFirstIn(const Folder& folder, const char* path, const char* pattern,
                        WIN32_FIND_DATAA* found) {
  return FirstOf(path, found, [&] {
    return std::make_unique<Search>(folder,
                                    SearchAim{std::string(path) + "\\", pattern, SearchScope::kEverything});
  });
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
