#include "platform/folder_of_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <new>
#include <string_view>

#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/system_calls.h"

namespace tvl {

std::string FolderOf(const std::string& path) {
  const std::size_t separator = path.rfind('/');
  return separator == std::string::npos ? "./" : path.substr(0, separator + 1);
}

int OpenFolderOf(const std::string& path) {
  return System().open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
}

int Sync(int file) {
  while (System().fsync(file) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

bool SyncFolderOf(const std::string& path) {
  int opened = OpenFolderOf(path);
  // The folder may be writable but not readable. Then the sync of the file includes its last rename.
  if (opened < 0 && errno == EACCES) opened = System().open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
  const int problem = opened < 0 ? errno : Sync(opened);
  if (opened >= 0) System().close(opened);
  if (problem == 0 || problem == EINVAL) return true;
  NoteError(path.c_str(), problem);
  return false;
}

bool SyncFoldersBetween(const char* base, const char* path) try {
  std::string folder = FolderOf(HostPath(path).Text());
  const std::size_t end = std::string_view(base).size();
  while (folder.size() > end) {
    folder.pop_back();  // removes the slash, so that FolderOf returns the parent
    if (!SyncFolderOf(folder)) return false;
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
