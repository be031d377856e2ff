#ifndef TVL_ENGINE_FILE_LOCK_H
#define TVL_ENGINE_FILE_LOCK_H

#include <fcntl.h>

#include <cerrno>

#include "host/system_calls.h"
#include "store/lock_ranges.h"

// Byte-range locks that belong to an open file. A classic lock would be lost with any close() of the same
// file in this process.

namespace tvl::engine {

// Converts a range to the form of fcntl.
inline struct flock Describe(short type, const LockRange& range) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = range.start;
  lock.l_len = range.length;
  return lock;
}

// Tries to lock without waiting. Returns false and sets errno on failure.
[[nodiscard]] inline bool TryLock(int descriptor, short type, const LockRange& range) {
  struct flock lock = Describe(type, range);
  int result = System().lock(descriptor, F_OFD_SETLK, &lock);
  while (result != 0 && errno == EINTR) result = System().lock(descriptor, F_OFD_SETLK, &lock);
  return result == 0;
}

inline void Unlock(int descriptor, const LockRange& range) {
  static_cast<void>(TryLock(descriptor, F_UNLCK, range));
}

// Returns whether `problem` means that another open file holds a conflicting lock.
[[nodiscard]] inline bool IsRefusal(int problem) {
  return problem == EAGAIN || problem == EACCES;
}

}  // namespace tvl::engine

#endif
