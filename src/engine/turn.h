#ifndef TVL_ENGINE_TURN_H
#define TVL_ENGINE_TURN_H

#include <condition_variable>
#include <mutex>
#include <thread>

namespace tvl::engine {

// Who may work on a table: one thread at a time, as often as it likes.
class TurnLock {
 public:
  // Waits as long as a call may wait. False, and a noted error, if another thread keeps it.
  [[nodiscard]] bool Take();
  void Give();

 private:
  std::mutex mutex_;
  std::condition_variable free_;
  std::thread::id owner_;
  int depth_ = 0;
};

// The turn for the time of one call.
class Turn {
 public:
  explicit Turn(TurnLock& lock) : lock_(lock), has_(lock.Take()) {}
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  ~Turn() {
    if (has_) lock_.Give();
  }

  [[nodiscard]] bool Has() const { return has_; }

  // Leaves the turn with the thread when this object ends, until one more Give.
  void Keep() { has_ = false; }

 private:
  TurnLock& lock_;
  bool has_;
};

}  // namespace tvl::engine

#endif
