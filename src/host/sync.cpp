#include "host/sync.h"

#include <fcntl.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/system_calls.h"

namespace tvl {

std::string FolderOf(const std::string& path) {
  const std::size_t separator = path.rfind('/');
  return separator == std::string::npos ? "./" : path.substr(0, separator + 1);
}

int Sync(int file) {
  while (System().fsync(file) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

int SyncFolder(int folder, const char* name) {
  const Descriptor opened(System().openat(folder, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  const int problem = opened.IsOpen() ? Sync(opened.Get()) : errno;
  return problem == EINVAL ? 0 : problem;
}

int SyncFolderOf(const std::string& path) {
  const int problem = SyncFolder(AT_FDCWD, FolderOf(path).c_str());
  if (problem != EACCES) return problem;
  // A folder that may be written and not read. A sync of the file itself includes its last rename.
  const Descriptor file(System().open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
  const int file_problem = file.IsOpen() ? Sync(file.Get()) : errno;
  return file_problem == EINVAL ? 0 : file_problem;
}

}  // namespace tvl
