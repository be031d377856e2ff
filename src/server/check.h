#ifndef TVL_SERVER_CHECK_H
#define TVL_SERVER_CHECK_H

#include <string>

#include "config/config.h"
#include "server/settings/options.h"

namespace tvl::server {

// Describes, for an administrator, what a server with these options and this configuration would do. Throws
// std::runtime_error if it could not start for a reason that can be found without starting it.
[[nodiscard]] std::string DescribePlan(const Options& options, CConfig& config);

}  // namespace tvl::server

#endif
