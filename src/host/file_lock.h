#ifndef TVL_HOST_FILE_LOCK_H
#define TVL_HOST_FILE_LOCK_H

#include <fcntl.h>

#include <cerrno>

#include "host/system_calls.h"

// Byte-range locks that belong to an open file. A classic lock would be lost with any close() of the same
// file in this process. A range has a `start` and a `length`; the length 0 means to the end of any file.

namespace tvl {

// Converts a range to the form of fcntl.
template <typename Range>
struct flock AsLock(short type, const Range& range) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = range.start;
  lock.l_len = range.length;
  return lock;
}

// Locks or, with F_UNLCK, unlocks without waiting. Returns 0 or an errno value.
template <typename Range>
[[nodiscard]] int SetLock(int descriptor, short type, const Range& range) {
  struct flock lock = AsLock(type, range);
  int result = System().lock(descriptor, F_OFD_SETLK, &lock);
  while (result != 0 && errno == EINTR) result = System().lock(descriptor, F_OFD_SETLK, &lock);
  return result == 0 ? 0 : errno;
}

template <typename Range>
void Unlock(int descriptor, const Range& range) {
  static_cast<void>(SetLock(descriptor, F_UNLCK, range));
}

// Tries to lock without waiting. Returns false and sets errno on failure; then nothing in the range is locked
// by this open file any more.
template <typename Range>
[[nodiscard]] bool TryLock(int descriptor, short type, const Range& range) {
  const int problem = SetLock(descriptor, type, range);
  // On SMB, Linux takes the lock from the server first. If another process of this computer is only just
  // releasing its lock, Linux then refuses with EAGAIN, and the server's lock would remain.
  if (problem == EAGAIN) Unlock(descriptor, range);
  errno = problem;
  return problem == 0;
}

// Returns whether `problem` means that another open file holds a conflicting lock.
[[nodiscard]] inline bool IsRefusal(int problem) {
  return problem == EAGAIN || problem == EACCES;
}

// Makes the close of a descriptor close the file at once. On SMB, Linux otherwise keeps the file open for a
// second more, in case it is opened again: this computer then does not notice that another one has replaced
// the file, and a rename must wait until the server has taken back the lease. Linux does not do so with a
// file on which a lock was set or removed, even if there was none to remove. Keeps errno.
inline void CloseWithoutDelay(int descriptor) {
  struct {
    off_t start = 0;
    off_t length = 1;
  } const nothing;
  const int problem = errno;
  if (descriptor >= 0) Unlock(descriptor, nothing);
  errno = problem;
}

}  // namespace tvl

#endif
