#ifndef TVL_CLI_HEALTH_PAGE_H
#define TVL_CLI_HEALTH_PAGE_H

#include <chrono>
#include <string>

namespace tvl::cli {

struct HealthPage {
  int status = 0;    // of HTTP; 0 if there was no answer in time, -1 if the origin is not an address
  std::string text;  // the beginning of the page
};

// Fetches `path` from `origin`, which is http://HOST:PORT. Throws Stop if there is no HTTP client.
[[nodiscard]] HealthPage FetchHealthPage(const std::string& origin, const std::string& path,
                                         std::chrono::milliseconds patience);

}  // namespace tvl::cli

#endif
