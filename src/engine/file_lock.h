#ifndef TVL_ENGINE_FILE_LOCK_H
#define TVL_ENGINE_FILE_LOCK_H

#include <fcntl.h>

#include <cerrno>

#include "store/lock_ranges.h"

// Locks of open files on byte ranges. A classic lock would vanish with any close() of the same file in this
// process.

namespace tvl::engine {

// The range as fcntl wants it.
inline struct flock Describe(short type, const LockRange& range) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = range.start;
  lock.l_len = range.length;
  return lock;
}

// Never waits. False, and errno, if the lock cannot be had.
[[nodiscard]] inline bool TryLock(int descriptor, short type, const LockRange& range) {
  struct flock lock = Describe(type, range);
  int result = fcntl(descriptor, F_OFD_SETLK, &lock);
  while (result != 0 && errno == EINTR) result = fcntl(descriptor, F_OFD_SETLK, &lock);
  return result == 0;
}

inline void Unlock(int descriptor, const LockRange& range) {
  static_cast<void>(TryLock(descriptor, F_UNLCK, range));
}

// Whether `problem` means that another open file holds a lock in the way.
[[nodiscard]] inline bool IsRefusal(int problem) {
  return problem == EAGAIN || problem == EACCES;
}

}  // namespace tvl::engine

#endif
