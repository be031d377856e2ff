#ifndef TVL_SERVER_METRICS_METRICS_H
#define TVL_SERVER_METRICS_METRICS_H

#include <array>
#include <cstddef>

#include "server/metrics/counter.h"
#include "server/metrics/gauge.h"
#include "server/metrics/queue_stats.h"
#include "server/metrics/traffic.h"

namespace tvl::server {

// Why a connection was not let in. kHandshake: it never said who it is.
enum class RefusalReason { kAddress, kCertificate, kTag, kFull, kProxy, kHandshake };
constexpr std::array kRefusalReasons = {"address", "certificate", "tag", "full", "proxy", "handshake"};

constexpr const char* NameOf(RefusalReason reason) {
  return kRefusalReasons[static_cast<std::size_t>(reason)];
}

// How a get or a put ended.
enum class TransferResult { kDone, kSame, kForbidden, kFailed, kBrokenOff };
constexpr std::array kTransferResults = {"done", "same", "forbidden", "failed", "broken_off"};

// States of an object in the answer to a lock or unlock.
constexpr std::array kLockStates = {"0", "1", "2", "3"};

// A counter for each of `Count` cases.
template <std::size_t Count>
class Counters {
 public:
  template <typename Case>
  Counter& operator[](Case which) {
    return counters_[static_cast<std::size_t>(which)];
  }
  template <typename Case>
  const Counter& operator[](Case which) const {
    return counters_[static_cast<std::size_t>(which)];
  }

 private:
  std::array<Counter, Count> counters_;
};

// What the server counts of its work. Each member may be used by any thread.
struct Metrics {
  Counter enters;
  Counters<kRefusalReasons.size()> refusals;
  Counters<kTransferResults.size()> gets;
  Counters<kTransferResults.size()> puts;
  Counters<kLockStates.size()> locks;
  Counters<kLockStates.size()> unlocks;
  Traffic traffic;
  Gauge held_locks;
  Gauge parts;
  Counter lines_left_out;  // log lines of clients that caused too many
  QueueStats files;
  QueueStats first_pieces;
  QueueStats hashing;
  QueueStats engine;
};

}  // namespace tvl::server

#endif
