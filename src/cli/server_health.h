#ifndef TVL_CLI_SERVER_HEALTH_H
#define TVL_CLI_SERVER_HEALTH_H

#include <chrono>
#include <string>

namespace tvl::cli {

struct ServerHealth {
  bool is_good;
  std::string text;  // the answer, or why there is none
};

// Asks the status page of a server. `url` is http://HOST:PORT, optionally with a path other than /healthz.
// Throws Stop for another address.
[[nodiscard]] ServerHealth AskHealth(const std::string& url, std::chrono::seconds limit);

}  // namespace tvl::cli

#endif
