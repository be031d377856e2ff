#ifndef TVL_CLI_ENVIRONMENT_H
#define TVL_CLI_ENVIRONMENT_H

#include <cstdlib>
#include <string>

namespace tvl::cli {

// Returns the value of an environment variable; empty if there is none.
[[nodiscard]] inline std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

}  // namespace tvl::cli

#endif
