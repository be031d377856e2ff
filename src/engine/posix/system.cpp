#include "engine/system.h"

#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "engine/patience.h"
#include "engine/posix/folder_mode.h"
#include "host/descriptor.h"
#include "host/file_identity.h"
#include "host/file_lock.h"
#include "host/fork_guard.h"
#include "host/opening_apart.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "host/write_all.h"

namespace tvl::engine {
namespace {

int DescriptorOf(FileNumber file) {
  return static_cast<int>(file);
}

int FlagsOf(Access access) {
  return access == Access::kReadWrite ? O_RDWR : O_RDONLY;
}

bool Succeeded(int problem) {
  errno = problem;
  return problem == 0;
}

std::optional<FileId> IdOfRegular(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  return FileId{status.st_dev, status.st_ino};
}

}  // namespace

FileNumber OpenExistingFile(const std::string& path, Access access) {
  return ForkGuard::Open(path.c_str(), FlagsOf(access) | O_NONBLOCK, 0);
}

FileNumber CreateNewFile(const std::string& path) {
  const int made = ForkGuard::Open(path.c_str(), O_RDWR | O_CREAT | O_EXCL, kReadWriteBits);
  if (made >= 0) TakeModeOfFolder(made, path);
  return made;
}

// Unlocks explicitly, because a child that was just forked may still have the file open too.
void CloseFile(FileNumber file) {
  tvl::Unlock(DescriptorOf(file), kWholeFile);
  ForkGuard::Close(DescriptorOf(file));
}

bool OpenApart(const std::string& path, Access access, const std::function<void(bool apart)>& open) {
  const OpeningApart apart(path.c_str(), FlagsOf(access), kOpeningByte.start, kPatience);
  if (!apart.Has()) return false;
  open(apart.IsNeeded());
  return true;
}

bool TryLock(FileNumber file, LockKind kind, const LockRange& range) {
  return tvl::TryLock(DescriptorOf(file), static_cast<short>(kind == LockKind::kShared ? F_RDLCK : F_WRLCK),
                      range);
}

void Unlock(FileNumber file, const LockRange& range) {
  tvl::Unlock(DescriptorOf(file), range);
}

bool IsBarredForAMoment(FileNumber file, const LockRange& range) {
  struct flock found = AsLock(F_WRLCK, range);
  struct stat status = {};
  if (System().lock(DescriptorOf(file), F_OFD_GETLK, &found) != 0 ||
      System().fstat(DescriptorOf(file), &status) != 0)
    return false;
  const bool is_try = found.l_start == kEarlierTry.start && found.l_len == kEarlierTry.length;
  return found.l_type == F_UNLCK || is_try || status.st_size == 0;
}

std::optional<FileId> IdOf(FileNumber file) {
  struct stat status = {};
  if (System().fstat(DescriptorOf(file), &status) != 0) return std::nullopt;
  return IdOfRegular(status);
}

std::optional<FileId> IdOf(const std::string& path) {
  struct stat status = {};
  if (System().stat(path.c_str(), &status) != 0) return std::nullopt;
  return IdOfRegular(status);
}

std::string StartOf(FileNumber file, std::size_t count) {
  std::string bytes(count, '\0');
  const ssize_t length = System().pread(DescriptorOf(file), bytes.data(), count, 0);
  bytes.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return bytes;
}

int ReadStart(const std::string& path, std::size_t count, std::string& bytes) {
  const Descriptor file(System().open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0));
  if (!file.IsOpen()) return errno;
  bytes.resize(count);
  std::size_t length = 0;
  for (ssize_t more = 1; more > 0 && length < bytes.size(); length += static_cast<std::size_t>(more)) {
    more = System().read(file.Get(), bytes.data() + length, bytes.size() - length);
    if (more < 0) return errno;
  }
  bytes.resize(length);
  return 0;
}

bool WriteAt(FileNumber file, std::string_view bytes, std::int64_t offset) {
  return Succeeded(WriteAllAt(DescriptorOf(file), bytes.data(), bytes.size(), offset));
}

bool Empty(FileNumber file) {
  return System().ftruncate(DescriptorOf(file), 0) == 0;
}

bool SyncFile(FileNumber file) {
  return Succeeded(Sync(DescriptorOf(file)));
}

void SyncNames(const std::string& path) {
  static_cast<void>(SyncFolderOf(path));
}

bool FileExists(const std::string& path) {
  return System().access(path.c_str(), F_OK) == 0;
}

bool RemoveFile(const std::string& path) {
  return System().unlink(path.c_str()) == 0;
}

std::string RealPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&free)> real(System().realpath(path.c_str(), nullptr), free);
  return real != nullptr ? real.get() : std::string();
}

std::string FolderOfFile(const std::string& path) {
  return FolderOf(path);
}

void CopySystemText(int problem, char* buffer, std::size_t size) noexcept {
  char reason[96];
  std::snprintf(buffer, size, "%s", strerror_r(problem, reason, sizeof reason));
}

bool CallAroundEachFork(void (*before)(), void (*in_parent)(), void (*in_child)()) {
  // First the guard, because tables are closed under locks that `before` takes.
  return ForkGuard::Start() == 0 && CallAroundForks(before, in_parent, in_child) == 0;
}

// exit() destroys the thread-local objects of the main thread, but runs no thread-specific destructors. There
// is one kind of object, so one key is enough.
void FreeAtThreadEnd(void* object, void (*free)(void* object)) {
  static const pthread_key_t key = [free] {
    pthread_key_t made = {};
    pthread_key_create(&made, free);
    return made;
  }();
  pthread_setspecific(key, object);
}

}  // namespace tvl::engine
