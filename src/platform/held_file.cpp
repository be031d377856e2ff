#include "platform/held_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/open_file.h"
#include "platform/system_calls.h"

namespace tvl {
namespace {

constexpr off_t kToTheEnd = 0;                // length of a hold: the whole file, however it grows
constexpr off_t kTryLength = off_t{1} << 62;  // length of a try, by which others know it for one
constexpr long kTryPauseNanoseconds = 30'000;
constexpr long kTryPatienceNanoseconds = 1'000'000'000;

struct flock WholeFile(short type, off_t length) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_len = length;
  return lock;
}

// True if what bars the lock just refused is only another try, or has gone meanwhile.
bool IsBarredByTry(int descriptor) {
  struct flock found = WholeFile(F_WRLCK, kToTheEnd);
  if (System().lock(descriptor, F_OFD_GETLK, &found) != 0) return false;
  return found.l_type == F_UNLCK || (found.l_start == 0 && found.l_len == kTryLength);
}

// Locks without waiting for a holder; waits for tries, which last microseconds. 0, EBUSY if there is a
// holder, else why the file system refuses.
int Lock(int descriptor, off_t length) {
  for (long waited = 0;; waited += kTryPauseNanoseconds) {
    struct flock lock = WholeFile(F_WRLCK, length);
    if (System().lock(descriptor, F_OFD_SETLK, &lock) == 0) return 0;
    if (errno != EAGAIN && errno != EACCES) return errno;
    if (waited >= kTryPatienceNanoseconds || !IsBarredByTry(descriptor)) return EBUSY;
    const timespec pause = {0, kTryPauseNanoseconds};
    nanosleep(&pause, nullptr);
  }
}

void Unlock(int descriptor) {
  struct flock lock = WholeFile(F_UNLCK, kToTheEnd);
  System().lock(descriptor, F_OFD_SETLK, &lock);
}

// The descriptors of this process that carry a hold. `mutex` is also taken for the length of every try, so no
// child is forked in the middle of one. Never destroyed, since connections are closed while the process ends;
// and in a place of its own, so that a try never wants for memory.
class HeldDescriptors {
 public:
  static HeldDescriptors& Get() {
    alignas(HeldDescriptors) static std::byte room[sizeof(HeldDescriptors)];
    static auto* descriptors = new (room) HeldDescriptors;
    return *descriptors;
  }

  std::mutex mutex;
  std::vector<int> descriptors;

 private:
  HeldDescriptors() { pthread_atfork(BeforeFork, InParent, InChild); }

  static void BeforeFork() { Get().mutex.lock(); }
  static void InParent() { Get().mutex.unlock(); }

  static void InChild() {
    HeldDescriptors& held = Get();
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int descriptor : held.descriptors) {
      if (nowhere < 0 || dup3(nowhere, descriptor, O_CLOEXEC) < 0) close(descriptor);
    }
    if (nowhere >= 0) close(nowhere);
    held.descriptors.clear();
    held.mutex.unlock();
  }
};

}  // namespace

bool HoldFile(HANDLE file) {
  const int descriptor = static_cast<int>(file);
  HeldDescriptors& held = HeldDescriptors::Get();
  const std::lock_guard<std::mutex> guard(held.mutex);
  held.descriptors.push_back(descriptor);
  const int problem = Lock(descriptor, kToTheEnd);
  if (problem == 0) return true;
  held.descriptors.pop_back();
  NoteError(nullptr, problem);
  return false;
}

void ReleaseFile(HANDLE file) {
  const int descriptor = static_cast<int>(file);
  HeldDescriptors& held = HeldDescriptors::Get();
  const std::lock_guard<std::mutex> guard(held.mutex);
  if (std::erase(held.descriptors, descriptor) > 0) Unlock(descriptor);
}

bool WhileUnheld(int descriptor, void (*action)(void* argument), void* argument) {
  const std::lock_guard<std::mutex> guard(HeldDescriptors::Get().mutex);
  const int problem = Lock(descriptor, kTryLength);
  if (problem != 0) {
    NoteError(nullptr, problem);
    return false;
  }
  action(argument);
  Unlock(descriptor);
  return true;
}

bool IsHeld(int descriptor) {
  const std::lock_guard<std::mutex> guard(HeldDescriptors::Get().mutex);
  const int problem = Lock(descriptor, kTryLength);
  if (problem == 0) Unlock(descriptor);
  return problem == EBUSY ||
         problem == ENOLCK;  // without an answer from the lock service there may be a holder
}

bool IsFileHeld(const char* path) {
  const OpenFile file(path, O_RDWR);
  return file.IsOpen() ? IsHeld(file.Descriptor()) : LastErrorCode() != ENOENT;
}

bool StillNames(const char* path, HANDLE file) {
  struct stat named = {};
  struct stat opened = {};
  return System().lstat(HostPath(path).Text(), &named) == 0 &&
         System().fstat(static_cast<int>(file), &opened) == 0 && named.st_dev == opened.st_dev &&
         named.st_ino == opened.st_ino;
}

void ShareLikeFolder(const char* path, HANDLE file) {
  std::string folder = HostPath(path).Text();
  const std::size_t separator = folder.rfind('/');
  folder.resize(separator == std::string::npos ? 0 : separator + 1);
  struct stat status = {};
  if (System().stat(folder.empty() ? "." : folder.c_str(), &status) != 0) return;
  System().fchmod(static_cast<int>(file), status.st_mode & 0666);
}

}  // namespace tvl
