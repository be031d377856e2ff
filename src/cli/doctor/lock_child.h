#ifndef TVL_CLI_DOCTOR_LOCK_CHILD_H
#define TVL_CLI_DOCTOR_LOCK_CHILD_H

#include <sys/types.h>

#include <string>

#include "store/lock_ranges.h"

namespace tvl::cli {

enum class LockKind { kShared, kExclusive };

// Locks a range of an open file, without waiting. Returns false if another open file bars it.
[[nodiscard]] bool TakeLock(int descriptor, const LockRange& range, LockKind kind = LockKind::kExclusive);
void DropLock(int descriptor, const LockRange& range);

// True if the range of the file at `path` could be locked; the lock is dropped again.
[[nodiscard]] bool CanLock(const std::string& path, const LockRange& range,
                           LockKind kind = LockKind::kExclusive);

// Another process that holds a lock on a file for as long as the object lives; it ends with this process.
class LockChild {
 public:
  LockChild(const std::string& path, const LockRange& range, LockKind kind = LockKind::kExclusive);
  ~LockChild();
  LockChild(const LockChild&) = delete;
  LockChild& operator=(const LockChild&) = delete;

  // True if it got the lock.
  [[nodiscard]] bool Holds() const { return holds_; }
  // Kills it, which must release the lock.
  void Kill();

 private:
  pid_t pid_ = -1;
  bool holds_ = false;
};

}  // namespace tvl::cli

#endif
