#ifndef TVL_SERVER_METRICS_COUNTER_H
#define TVL_SERVER_METRICS_COUNTER_H

#include <atomic>
#include <cstdint>

namespace tvl::server {

// A number that only grows. Any thread may use it.
class Counter {
 public:
  void Add(std::uint64_t more = 1) { value_.fetch_add(more, std::memory_order_relaxed); }
  [[nodiscard]] std::uint64_t Value() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> value_{0};
};

}  // namespace tvl::server

#endif
