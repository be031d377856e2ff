#include "platform/shared_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "host/descriptor.h"
#include "host/file_lock.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "host/write_all.h"
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

constexpr mode_t kReadWrite = 0666;
constexpr mode_t kGroupShared = 02070;

int ShareOpenFolder(const char* path, int group) {
  const Descriptor folder(System().open(HostPath(path).Text(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  struct stat status = {};
  if (!folder.IsOpen() || System().fstat(folder.Get(), &status) != 0) return errno;
  if (System().fchown(folder.Get(), static_cast<uid_t>(-1), static_cast<gid_t>(group)) != 0) return errno;
  return System().fchmod(folder.Get(), (status.st_mode & 07777U) | kGroupShared) == 0 ? 0 : errno;
}

// Sets the read and write bits of a new file to those of its folder.
int TakeModeOfFolder(const std::string& host, int file) {
  struct stat above = {};
  struct stat created = {};
  if (System().stat(FolderOf(host).c_str(), &above) != 0 || System().fstat(file, &created) != 0) return errno;
  const mode_t wanted = above.st_mode & kReadWrite;
  if ((created.st_mode & 07777U) == wanted) return 0;
  return System().fchmod(file, wanted) == 0 ? 0 : errno;
}

int CreateWith(const std::string& host, std::string_view contents) {
  const Descriptor file(System().open(host.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadWrite));
  if (!file.IsOpen()) return errno;
  int problem = WriteAll(file.Get(), contents.data(), contents.size());
  if (problem == 0) problem = Sync(file.Get());
  if (problem == 0) problem = TakeModeOfFolder(host, file.Get());
  if (problem != 0) System().unlink(host.c_str());
  CloseWithoutDelay(file.Get());
  return problem;
}

bool Succeeded(const char* path, int problem) {
  if (problem != 0) NoteError(path, problem);
  return problem == 0;
}

}  // namespace

bool ShareWithGroup(const char* path, int group) {
  return Succeeded(path, ShareOpenFolder(path, group));
}

bool CreateSharedFile(const char* path, std::string_view contents) {
  return Succeeded(path, CreateWith(HostPath(path).Text(), contents));
}

bool CreateSharedFolder(const char* path) {
  const int problem = Create(path);
  if (problem == 0) return true;
  if (problem != EEXIST) NoteError(path, problem);
  return false;
}

}  // namespace tvl
