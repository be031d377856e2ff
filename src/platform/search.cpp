#include "platform/search.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "platform/last_error.h"
#include "platform/parts.h"

namespace {

char Lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// `*` stands for any run of characters, `?` for one. On a mismatch the last `*` takes one character more, so
// the cost is at most name times pattern.
bool Matches(std::string_view pattern, std::string_view name) {
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t retry = 0;
  for (std::size_t n = 0; n < name.size();) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      retry = n;
    } else if (p < pattern.size() && (pattern[p] == '?' || Lower(pattern[p]) == Lower(name[n]))) {
      ++p;
      ++n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      n = ++retry;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Trivially destructible: connections are closed, and search, while the process ends.
constinit thread_local bool came_to_end = true;

bool IsSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

class Search {
 public:
  Search(const std::string& folder, std::string_view pattern, tvl::FolderLinks links)
      : folder_(opendir(folder.c_str())),
        path_(folder),
        pattern_(pattern == "*.*" ? "*" : pattern),
        links_(links) {
    if (folder_ == nullptr) tvl::NoteError(folder.c_str(), errno);
  }

  bool Next(WIN32_FIND_DATAA* found) {
    came_to_end = false;
    if (folder_ == nullptr) return false;
    while (const dirent* entry = NextEntry()) {
      const std::string_view name = entry->d_name;
      if (!Matches(pattern_, name) || name.find('\\') != std::string_view::npos) continue;
      if (links_ != tvl::FolderLinks::kAll && tvl::IsPartName(name)) continue;
      if (name.size() >= sizeof found->cFileName || !FindAttributes(*entry, found->dwFileAttributes))
        continue;
      name.copy(found->cFileName, name.size());
      found->cFileName[name.size()] = 0;
      return true;
    }
    return false;
  }

 private:
  const dirent* NextEntry() {
    errno = 0;
    const dirent* entry = readdir(folder_.get());
    came_to_end = entry == nullptr && errno == 0;
    if (entry == nullptr && errno != 0) tvl::NoteError(path_.c_str(), errno);
    return entry;
  }

  // False for an entry that the search leaves out. Most file systems tell the kind of an entry with its name.
  bool FindAttributes(const dirent& entry, DWORD& attributes) const {
    attributes = entry.d_type == DT_DIR ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return true;
    const int folder = dirfd(folder_.get());
    struct stat status = {};
    if (fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return true;
    const bool is_link = S_ISLNK(status.st_mode);
    attributes = is_link ? FILE_ATTRIBUTE_REPARSE_POINT : 0;
    if (is_link && fstatat(folder, entry.d_name, &status, 0) != 0) return true;
    attributes |= S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    return links_ == tvl::FolderLinks::kAll || !is_link || !S_ISDIR(status.st_mode) || !LeadsBack(status);
  }

  // True for a folder that is the searched one or above it, by the parents that the file system knows or by
  // the path that led here, which may itself go through links.
  bool LeadsBack(const struct stat& status) const try {
    return IsAtOrAbove(status, dirfd(folder_.get())) || IsOnTheWay(status);
  } catch (const std::bad_alloc&) {
    return true;  // a walk must end
  }

  static bool IsAtOrAbove(const struct stat& wanted, int folder) {
    std::string way = ".";
    struct stat below = {};
    for (;;) {
      struct stat here = {};
      if (fstatat(folder, way.c_str(), &here, 0) != 0) return false;
      if (IsSame(here, wanted)) return true;
      if (IsSame(here, below)) return false;  // `..` of the top is the top
      below = here;
      way += "/..";
    }
  }

  bool IsOnTheWay(const struct stat& wanted) const {
    std::string way = path_;
    for (std::size_t end = way.rfind('/'); end != std::string::npos; end = way.rfind('/')) {
      way.resize(end);
      struct stat here = {};
      if (!way.empty() && stat(way.c_str(), &here) == 0 && IsSame(here, wanted)) return true;
    }
    return false;
  }

  std::unique_ptr<DIR, CloseFolder> folder_;
  std::string path_;
  std::string pattern_;
  tvl::FolderLinks links_;
};

Search* AsSearch(HANDLE search) {
  return reinterpret_cast<Search*>(search);
}

std::unique_ptr<Search> StartSearch(const char* pattern, tvl::FolderLinks links) try {
  const tvl::HostPath host(pattern);
  const std::string_view path = host.Text();
  const std::size_t separator = path.rfind('/');
  if (separator == std::string_view::npos) return std::make_unique<Search>(".", path, links);
  return std::make_unique<Search>(std::string(path.substr(0, separator + 1)), path.substr(separator + 1),
                                  links);
} catch (const std::bad_alloc&) {
  came_to_end = false;
  tvl::NoteError(pattern, ENOMEM);
  return nullptr;
}

}  // namespace

HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATAA* found) {
  return tvl::FindFirst(pattern, found, tvl::FolderLinks::kLeadingOn);
}

HANDLE tvl::FindFirst(const char* pattern, WIN32_FIND_DATAA* found, FolderLinks links) {
  std::unique_ptr<Search> search = StartSearch(pattern, links);
  if (search == nullptr || !search->Next(found)) return INVALID_HANDLE_VALUE;
  return reinterpret_cast<HANDLE>(search.release());
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
