#ifndef TVL_ENGINE_TURN_H
#define TVL_ENGINE_TURN_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "engine/patience.h"

namespace tvl::engine {

// Lets one thread at a time use a table. The thread that has the turn may take it again.
class TurnLock {
 public:
  // Waits as long as `patience` lasts. Returns false and notes an error if another thread keeps the turn.
  [[nodiscard]] bool Take(Patience& patience);
  void Release();

 private:
  std::mutex mutex_;
  std::condition_variable free_;
  std::thread::id owner_;
  int depth_ = 0;
};

// Holds the turn for the duration of one call.
class Turn {
 public:
  Turn(TurnLock& lock, Patience& patience) : lock_(lock), has_(lock.Take(patience)) {}
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  ~Turn() {
    if (has_) lock_.Release();
  }

  [[nodiscard]] bool Has() const { return has_; }

  // Keeps the turn after this object is destroyed, until another Release.
  void Keep() { has_ = false; }

 private:
  TurnLock& lock_;
  bool has_;
};

}  // namespace tvl::engine

#endif
