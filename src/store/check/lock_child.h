#ifndef TVL_STORE_CHECK_LOCK_CHILD_H
#define TVL_STORE_CHECK_LOCK_CHILD_H

#include <sys/types.h>

#include <string>

#include "store/lock_ranges.h"

namespace tvl {

enum class LockKind { kShared, kExclusive };

// Locks a range of an open file without waiting. Returns false if another open file holds a conflicting lock.
[[nodiscard]] bool TakeLock(int descriptor, const LockRange& range, LockKind kind = LockKind::kExclusive);
void DropLock(int descriptor, const LockRange& range);

// Returns whether the range of the file at `path` could be locked. Releases the lock again.
[[nodiscard]] bool CanLock(const std::string& path, const LockRange& range,
                           LockKind kind = LockKind::kExclusive);

// A child process that holds a lock on a file as long as the object exists. It is killed if this process
// ends.
class LockChild {
 public:
  LockChild(const std::string& path, const LockRange& range, LockKind kind = LockKind::kExclusive);
  ~LockChild();
  LockChild(const LockChild&) = delete;
  LockChild& operator=(const LockChild&) = delete;

  // Returns true if the child got the lock.
  [[nodiscard]] bool Holds() const { return holds_; }
  // Kills the child, which must release its lock.
  void Kill();

 private:
  pid_t pid_ = -1;
  bool holds_ = false;
};

}  // namespace tvl

#endif
