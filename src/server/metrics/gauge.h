#ifndef TVL_SERVER_METRICS_GAUGE_H
#define TVL_SERVER_METRICS_GAUGE_H

#include <atomic>
#include <cstdint>

namespace tvl::server {

// A number that grows and shrinks. Any thread may use it.
class Gauge {
 public:
  void Add(std::int64_t change) { value_.fetch_add(change, std::memory_order_relaxed); }
  [[nodiscard]] std::int64_t Value() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::int64_t> value_{0};
};

}  // namespace tvl::server

#endif
