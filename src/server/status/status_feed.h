#ifndef TVL_SERVER_STATUS_STATUS_FEED_H
#define TVL_SERVER_STATUS_STATUS_FEED_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "server/sessions/service.h"
#include "server/status/store_probe.h"

namespace tvl::server {

// What the status page shows, as JSON, one state for all who watch. A text that is not UTF-8 appears in
// hexadecimal as the member KEY_hex. Any thread may use it.
class StatusFeed {
 public:
  static constexpr std::size_t kMostRows = 200;  // of each list; their totals count all

  // Both are borrowed.
  StatusFeed(const Service& service, StoreProbe& probe) : service_(service), probe_(probe) {}

  // The state now, or not long ago, on one line.
  [[nodiscard]] std::shared_ptr<const std::string> Latest();

 private:
  using Clock = std::chrono::steady_clock;
  using Clients = std::vector<ClientBoard::Entry>;

  // What had travelled at an earlier time.
  struct Sample {
    Clock::time_point time;
    std::uint64_t bytes = 0;
    std::uint64_t transfer = 0;  // its number, among those of its client
  };

  [[nodiscard]] nlohmann::json Describe(Clock::time_point now, const StoreHealth& store);
  [[nodiscard]] nlohmann::json DescribeTotals(Clock::time_point now, std::size_t clients);
  [[nodiscard]] nlohmann::json DescribeTransfers(Clock::time_point now, const Clients& clients,
                                                 std::size_t& count);
  [[nodiscard]] nlohmann::json DescribeRefusals() const;
  [[nodiscard]] static double Rate(Sample& last, const Sample& now);

  const Service& service_;
  StoreProbe& probe_;
  std::mutex mutex_;
  std::shared_ptr<const std::string> latest_;
  Clock::time_point made_;
  Sample received_;
  Sample sent_;
  std::map<std::uint64_t, Sample> transfers_;  // by the client's id
};

}  // namespace tvl::server

#endif
