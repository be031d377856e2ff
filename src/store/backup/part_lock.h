#ifndef TVL_STORE_BACKUP_PART_LOCK_H
#define TVL_STORE_BACKUP_PART_LOCK_H

#include <memory>
#include <string>

namespace tvl {

// A file that is held while a folder is being written, and that only a killed process leaves.
class PartLock {
 public:
  explicit PartLock(const std::string& path);
  ~PartLock();
  PartLock(const PartLock&) = delete;
  PartLock& operator=(const PartLock&) = delete;

  // Creates the file, or opens one that was left, and holds it. Returns 0, EBUSY if another process holds it,
  // or another errno value.
  [[nodiscard]] int Hold();
  // Returns whether the file existed before it was held.
  [[nodiscard]] bool WasLeft() const { return was_left_; }
  // Deletes the file if it is held.
  void Release();

 private:
  struct State;
  std::unique_ptr<State> state_;
  bool was_left_ = false;
};

}  // namespace tvl

#endif
