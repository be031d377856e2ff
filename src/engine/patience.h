#ifndef TVL_ENGINE_PATIENCE_H
#define TVL_ENGINE_PATIENCE_H

#include <chrono>

namespace tvl::engine {

// How long a call waits, all its waits together.
constexpr std::chrono::seconds kPatience{10};

// The waits of one call, for another thread's turn and for locks of other processes.
//
// Locks can only be tried: short pauses first, as most locks last microseconds.
class Patience {
 public:
  explicit Patience(std::chrono::milliseconds limit = kPatience) : limit_(limit) {}

  // The time at which waiting ends. It is set when the call first has to wait.
  [[nodiscard]] std::chrono::steady_clock::time_point End();

  // Sleeps a little. False, without a sleep, when the time is over.
  [[nodiscard]] bool Pause();

 private:
  std::chrono::milliseconds limit_;
  std::chrono::steady_clock::time_point end_;
  std::chrono::microseconds pause_{0};
};

}  // namespace tvl::engine

#endif
