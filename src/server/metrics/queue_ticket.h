#ifndef TVL_SERVER_METRICS_QUEUE_TICKET_H
#define TVL_SERVER_METRICS_QUEUE_TICKET_H

#include <chrono>
#include <utility>

#include "server/metrics/queue_stats.h"

namespace tvl::server {

// The wait of one thing in a queue, from the construction to End or the destruction.
class QueueTicket {
 public:
  explicit QueueTicket(QueueStats& stats) : stats_(&stats) {
    stats.length.Observe(static_cast<std::uint64_t>(stats.waiting.Value()));
    stats.waiting.Add(1);
  }
  ~QueueTicket() { End(); }
  QueueTicket(QueueTicket&& other) noexcept
      : stats_(std::exchange(other.stats_, nullptr)), began_(other.began_) {}
  QueueTicket(const QueueTicket&) = delete;
  QueueTicket& operator=(const QueueTicket&) = delete;
  QueueTicket& operator=(QueueTicket&&) = delete;

  void End() {
    if (stats_ == nullptr) return;
    const auto waited = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - began_);
    stats_->wait.Observe(static_cast<std::uint64_t>(waited.count()));
    stats_->waiting.Add(-1);
    stats_ = nullptr;
  }

 private:
  using Clock = std::chrono::steady_clock;

  QueueStats* stats_;  // null when the wait is over
  Clock::time_point began_ = Clock::now();
};

}  // namespace tvl::server

#endif
