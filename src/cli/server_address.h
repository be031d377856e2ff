#ifndef TVL_CLI_SERVER_ADDRESS_H
#define TVL_CLI_SERVER_ADDRESS_H

#include <string>

namespace tvl::cli {

struct ServerAddress {
  std::string host;
  unsigned int port;
};

// Parses "host:port" or "[address]:port". Throws Stop for anything else.
[[nodiscard]] ServerAddress ParseServer(const std::string& text);

}  // namespace tvl::cli

#endif
