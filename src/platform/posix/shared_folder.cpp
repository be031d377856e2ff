#include "platform/shared_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "host/descriptor.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"

namespace tvl {
namespace {

constexpr mode_t kShared = 02777;

std::string ParentOf(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return FolderOf(path);
}

// Returns 0 or an errno value. Leaves correct bits alone, because setting them as a user outside the group of
// the folder would clear the setgid bit.
int TakeModeOf(const struct stat& above, int folder) {
  struct stat created = {};
  if (System().fstat(folder, &created) != 0) return errno;
  const mode_t wanted = above.st_mode & kShared;
  if ((created.st_mode & 07777U) == wanted) return 0;
  return System().fchmod(folder, wanted) == 0 ? 0 : errno;
}

int Create(const char* path) {
  const std::string host = HostPath(path).Text();
  struct stat above = {};
  if (System().mkdir(host.c_str(), 0777) != 0) return errno;
  if (System().stat(ParentOf(host).c_str(), &above) != 0) return errno;
  const Descriptor folder(System().open(host.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
  return folder.IsOpen() ? TakeModeOf(above, folder.Get()) : errno;
}

}  // namespace

bool CreateSharedFolder(const char* path) {
  const int problem = Create(path);
  if (problem == 0) return true;
  if (problem != EEXIST) NoteError(path, problem);
  return false;
}

}  // namespace tvl
