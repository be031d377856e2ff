#include "store/backup/open_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "host/file_access.h"
#include "host/system_calls.h"
#include "store/backup/posix/entry_status.h"
#include "store/backup/posix/folder_state.h"

namespace tvl {
namespace {

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::unique_ptr<OpenFolder::State> StateOf(int number) {
  return std::make_unique<OpenFolder::State>(number, number == -1 ? errno : 0);
}

}  // namespace

OpenFolder::OpenFolder() : state_(StateOf(AT_FDCWD)) {}

OpenFolder::OpenFolder(const std::string& path, Use /*use*/)
    : state_(StateOf(System().open(path.c_str(), kFolder, 0))) {}

OpenFolder::OpenFolder(const OpenFolder& parent, const char* name, Use /*use*/)
    : state_(StateOf(System().openat(parent.state_->folder.Get(), name, kFolder | O_NOFOLLOW, 0))) {}

OpenFolder::~OpenFolder() = default;

int OpenFolder::Problem() const {
  return state_->problem;
}

const char* OpenFolder::NextName() {
  const dirent64* entry = state_->reader.Next();
  return entry != nullptr ? entry->d_name : nullptr;
}

int OpenFolder::ReadingProblem() const {
  return state_->reader.Problem();
}

int OpenFolder::Examine(const char* name, EntryStatus& status) const {
  struct stat found = {};
  if (System().fstatat(state_->folder.Get(), name, &found, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  status = StatusOf(found);
  return 0;
}

std::string OpenFolder::StartOf(const char* name, std::size_t most) const {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const Descriptor file(System().openat(state_->folder.Get(), name, kFlags, 0));
  std::string start(most, '\0');
  const ssize_t count = file.IsOpen() ? System().pread(file.Get(), start.data(), most, 0) : 0;
  start.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return start;
}

int OpenFolder::CreateFolder(const char* name) const {
  return System().mkdirat(state_->folder.Get(), name, 0700) == 0 ? 0 : errno;
}

int OpenFolder::ReadLink(const char* name, LinkData& link) const {
  char target[PATH_MAX];
  const ssize_t length = System().readlinkat(state_->folder.Get(), name, target, sizeof target - 1);
  if (length < 0) return errno;
  link.bytes.assign(target, static_cast<std::size_t>(length));
  return 0;
}

int OpenFolder::CreateLink(const char* name, const LinkData& link) const {
  return System().symlinkat(link.bytes.c_str(), state_->folder.Get(), name) == 0 ? 0 : errno;
}

void OpenFolder::CopyTraitsTo(const OpenFolder& copy) const {
  const int from = state_->folder.Get();
  const int to = copy.state_->folder.Get();
  struct stat status = {};
  if (System().fstat(from, &status) != 0) return;
  FileAccess access;
  if (access.Read(from) != 0 || access.Apply(to) != 0) System().fchmod(to, status.st_mode & 02777U);
  const timespec times[] = {status.st_atim, status.st_mtim};
  System().futimens(to, times);
}

}  // namespace tvl
