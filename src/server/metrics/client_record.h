#ifndef TVL_SERVER_METRICS_CLIENT_RECORD_H
#define TVL_SERVER_METRICS_CLIENT_RECORD_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "server/metrics/counter.h"
#include "server/metrics/gauge.h"
#include "server/metrics/traffic.h"

namespace tvl::server {

// Longer than the name of any file or object; what a client sends beyond that is not shown.
constexpr std::size_t kLongestShownName = 260;

// What the status page shows of a client. Its session writes it, any thread may read it.
class ClientRecord {
 public:
  // Set before the record is on the board, and not changed afterwards.
  struct Identity {
    std::string address;
    std::string computer;
    std::string user;
    std::string client_class;
    int number = 0;
    std::chrono::system_clock::time_point since;
  };

  enum class Direction { kGet, kPut };

  // A get or a put that is going on.
  struct Transfer {
    std::uint64_t number;  // of this client's transfers
    Direction direction;
    std::string name;
    std::chrono::steady_clock::time_point began;
    std::uint64_t bytes;  // that travelled
  };

  void BeginTransfer(Direction direction, const std::string& name);
  void EndTransfer();
  [[nodiscard]] std::optional<Transfer> RunningTransfer() const;

  Identity identity;
  Traffic traffic;
  Counter requests;
  Gauge locks;

 private:
  [[nodiscard]] std::uint64_t Travelled(Direction direction) const {
    return direction == Direction::kGet ? traffic.sent.Value() : traffic.received.Value();
  }

  mutable std::mutex mutex_;
  std::optional<Transfer> transfer_;  // its bytes: those that travelled before
  std::uint64_t transfers_ = 0;
};

}  // namespace tvl::server

#endif
