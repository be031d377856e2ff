#ifndef TVL_ENGINE_PATIENCE_H
#define TVL_ENGINE_PATIENCE_H

#include <chrono>

namespace tvl::engine {

// How long a call waits for somebody else's lock.
constexpr std::chrono::seconds kPatience{10};

// One call's waits for locks that can only be tried: short pauses first, as most locks last microseconds.
class Patience {
 public:
  explicit Patience(std::chrono::milliseconds limit = kPatience) : limit_(limit) {}

  // Sleeps a little. False, without a sleep, when the time since the first pause is over.
  [[nodiscard]] bool Pause();

 private:
  std::chrono::milliseconds limit_;
  std::chrono::steady_clock::time_point end_;
  std::chrono::microseconds pause_{0};
};

}  // namespace tvl::engine

#endif
