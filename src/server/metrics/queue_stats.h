#ifndef TVL_SERVER_METRICS_QUEUE_STATS_H
#define TVL_SERVER_METRICS_QUEUE_STATS_H

#include "server/metrics/gauge.h"
#include "server/metrics/histogram.h"

namespace tvl::server {

// How a queue is doing. Any thread may use it.
struct QueueStats {
  Gauge waiting;
  Histogram length{Histogram::kLengths};  // what was waiting when something came
  Histogram wait{Histogram::kSeconds};
};

}  // namespace tvl::server

#endif
