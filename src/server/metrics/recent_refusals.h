#ifndef TVL_SERVER_METRICS_RECENT_REFUSALS_H
#define TVL_SERVER_METRICS_RECENT_REFUSALS_H

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "server/metrics/metrics.h"

namespace tvl::server {

// The last connections that were not let in. Any thread may use it.
class RecentRefusals {
 public:
  static constexpr std::size_t kMost = 50;

  struct Refusal {
    std::chrono::system_clock::time_point time;
    std::string address;
    std::string who;  // empty if it did not say
    RefusalReason reason;
  };

  void Add(Refusal refusal) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (refusals_.size() == kMost) refusals_.pop_back();
    refusals_.push_front(std::move(refusal));
  }

  // The latest first.
  [[nodiscard]] std::deque<Refusal> List() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return refusals_;
  }

 private:
  mutable std::mutex mutex_;
  std::deque<Refusal> refusals_;
};

}  // namespace tvl::server

#endif
