#ifndef TVL_SERVER_METRICS_TRAFFIC_H
#define TVL_SERVER_METRICS_TRAFFIC_H

#include "server/metrics/counter.h"

namespace tvl::server {

// Bytes that came from clients and went to them.
struct Traffic {
  Counter received;
  Counter sent;
};

}  // namespace tvl::server

#endif
