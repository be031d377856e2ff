#ifndef TVL_SERVER_METRICS_STATUS_H
#define TVL_SERVER_METRICS_STATUS_H

#include <utility>

#include "server/metrics/client_board.h"
#include "server/metrics/metrics.h"
#include "server/metrics/recent_refusals.h"

namespace tvl::server {

// What the server's threads note for its status pages.
struct Status {
  void NoteRefusal(RecentRefusals::Refusal refusal) {
    metrics.refusals[refusal.reason].Add();
    refusals.Add(std::move(refusal));
  }

  Metrics metrics;
  ClientBoard clients;
  RecentRefusals refusals;
};

}  // namespace tvl::server

#endif
