#ifndef TVL_ENGINE_PATIENCE_H
#define TVL_ENGINE_PATIENCE_H

#include <chrono>

namespace tvl::engine {

// Maximum total time that a call waits.
constexpr std::chrono::seconds kPatience{10};

// Limits the waits of one call, for the turn of another thread and for locks of other processes.
//
// Locks are polled, with short pauses first, because most locks last microseconds.
class Patience {
 public:
  explicit Patience(std::chrono::milliseconds limit = kPatience) : limit_(limit) {}

  // Returns the time at which waiting ends. It is set when the call first has to wait.
  [[nodiscard]] std::chrono::steady_clock::time_point End();

  // Sleeps for a short time. Returns false without sleeping when the time is over.
  [[nodiscard]] bool Pause();

 private:
  std::chrono::milliseconds limit_;
  std::chrono::steady_clock::time_point end_;
  std::chrono::microseconds pause_{0};
};

}  // namespace tvl::engine

#endif
