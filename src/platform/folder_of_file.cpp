#include "platform/folder_of_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <new>
#include <string_view>

#include "host/sync.h"
#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"

namespace tvl {

bool SyncNameOf(const std::string& path) {
  const int problem = SyncFolderOf(path);
  if (problem != 0) NoteError(path.c_str(), problem);
  return problem == 0;
}

bool SyncFoldersBetween(const char* base, const char* path) try {
  std::string folder = FolderOf(HostPath(path).Text());
  const std::size_t end = std::string_view(base).size();
  while (folder.size() > end) {
    folder.pop_back();  // removes the slash, so that FolderOf returns the parent
    if (!SyncNameOf(folder)) return false;
    folder = FolderOf(folder);
  }
  return true;
} catch (const std::bad_alloc&) {
  NoteError(path, ENOMEM);
  return false;
}

int InheritedGroupBits(const std::string& folder) {
  struct stat status = {};
  if (System().stat(folder.c_str(), &status) != 0 || (status.st_mode & S_ISGID) == 0) return -1;
  return static_cast<int>(status.st_mode & S_IRWXG);
}

}  // namespace tvl
