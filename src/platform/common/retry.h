#ifndef TVL_PLATFORM_COMMON_RETRY_H
#define TVL_PLATFORM_COMMON_RETRY_H

#include <chrono>
#include <thread>

namespace tvl {

constexpr std::chrono::milliseconds kRetryPause{1};

// Calls `attempt`, which returns 0 or an errno value, until `passes` returns false for its result, but for at
// most `seconds`. Returns the last result.
template <typename Passes, typename Attempt>
[[nodiscard]] int Retry(int seconds, Passes passes, Attempt attempt) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
  for (;;) {
    const int problem = attempt();
    if (!passes(problem) || Clock::now() >= end) return problem;
    std::this_thread::sleep_for(kRetryPause);
  }
}

}  // namespace tvl

#endif
