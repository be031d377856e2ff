#ifndef TVL_CLI_SERVER_PING_H
#define TVL_CLI_SERVER_PING_H

#include <chrono>
#include <string>

#include "cli/options.h"
#include "cli/output/json.h"

namespace tvl::cli {

// How a server answered a new client.
struct ServerPing {
  std::string version;  // empty if the server reports none
  std::chrono::microseconds connecting;
  std::chrono::microseconds round_trip;

  // "version 1.1.0, connected in 0.541 ms, round trip 0.029 ms"
  [[nodiscard]] std::string Text() const;
  void Describe(JsonObject& document) const;
};

// Connects to the server of the options. Throws Stop if it does not answer.
[[nodiscard]] ServerPing PingServer(const Options& options);

}  // namespace tvl::cli

#endif
