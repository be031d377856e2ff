#ifndef TVL_ENGINE_TURN_H
#define TVL_ENGINE_TURN_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "engine/patience.h"

namespace tvl::engine {

// Lets one thread at a time work on a table. The thread that has the turn may take it again.
class TurnLock {
 public:
  // Waits as long as the call may still wait. False, and a noted error, if another thread keeps it.
  [[nodiscard]] bool Take(Patience& patience);
  void Give();

 private:
  std::mutex mutex_;
  std::condition_variable free_;
  std::thread::id owner_;
  int depth_ = 0;
};

// The turn for the duration of one call.
class Turn {
 public:
  Turn(TurnLock& lock, Patience& patience) : lock_(lock), has_(lock.Take(patience)) {}
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
