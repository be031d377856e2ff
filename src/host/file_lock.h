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

// Tries to lock, or to unlock with F_UNLCK, without waiting. Returns false and sets errno on failure.
template <typename Range>
[[nodiscard]] bool TryLock(int descriptor, short type, const Range& range) {
  struct flock lock = AsLock(type, range);
  int result = System().lock(descriptor, F_OFD_SETLK, &lock);
  while (result != 0 && errno == EINTR) result = System().lock(descriptor, F_OFD_SETLK, &lock);
  return result == 0;
}

template <typename Range>
void Unlock(int descriptor, const Range& range) {
  static_cast<void>(TryLock(descriptor, F_UNLCK, range));
}

// Returns whether `problem` means that another open file holds a conflicting lock.
[[nodiscard]] inline bool IsRefusal(int problem) {
  return problem == EAGAIN || problem == EACCES;
}

}  // namespace tvl

#endif
