#ifndef TVL_SERVER_LOG_LINE_BUDGET_H
#define TVL_SERVER_LOG_LINE_BUDGET_H

#include <algorithm>
#include <chrono>

namespace tvl::server {

// Limits the log lines that a client may cause: kBurst at once, kPerSecond in the long run.
class LineBudget {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr double kPerSecond = 100;
  static constexpr double kBurst = 1000;

  // Returns true if another line may be written now.
  [[nodiscard]] bool Take(Clock::time_point now) {
    const std::chrono::duration<double> since = now - last_;
    left_ = std::min(kBurst, left_ + since.count() * kPerSecond);
    last_ = now;
    if (left_ < 1) return false;
    left_ -= 1;
    return true;
  }

 private:
  Clock::time_point last_ = Clock::now();
  double left_ = kBurst;
};

}  // namespace tvl::server

#endif
