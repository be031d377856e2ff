#ifndef TVL_SERVER_STATUS_METRICS_PAGE_H
#define TVL_SERVER_STATUS_METRICS_PAGE_H

#include <cstddef>
#include <string>

#include "server/sessions/service.h"
#include "server/status/store_health.h"

namespace tvl::server {

// The server's metrics in the text format of Prometheus.
[[nodiscard]] std::string MetricsPage(const Service& service, const StoreHealth& store,
                                      std::size_t event_streams);

}  // namespace tvl::server

#endif
