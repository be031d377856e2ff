#include "platform/held_file.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "platform/last_error.h"
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

}  // namespace

bool HoldFile(HANDLE file) {
  const int problem = Lock(static_cast<int>(file), kToTheEnd);
  if (problem != 0) NoteError(nullptr, problem);
  return problem == 0;
}

void ReleaseFile(HANDLE file) {
  Unlock(static_cast<int>(file));
}

bool IsHeld(int descriptor) {
  const int problem = Lock(descriptor, kTryLength);
  if (problem == 0) Unlock(descriptor);
  return problem == EBUSY ||
         problem == ENOLCK;  // without an answer from the lock service there may be a holder
}

}  // namespace tvl
