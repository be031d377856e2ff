#ifndef TVL_CLI_LOCK_CHILD_H
#define TVL_CLI_LOCK_CHILD_H

#include <sys/types.h>

#include <string>

namespace tvl::cli {

// Takes the lock on a whole file, of the kind that holds a marker or a table. False if somebody has it.
[[nodiscard]] bool TryLock(int descriptor);

// Another process that holds the lock on a file for as long as the object lives; it ends with this process.
class LockChild {
 public:
  explicit LockChild(const std::string& path);
  ~LockChild();
  LockChild(const LockChild&) = delete;
  LockChild& operator=(const LockChild&) = delete;

  // True if it got the lock.
  [[nodiscard]] bool Holds() const { return holds_; }
  // Kills it, which must give the lock back.
  void Kill();

 private:
  pid_t pid_ = -1;
  bool holds_ = false;
};

}  // namespace tvl::cli

#endif
