#ifndef TVL_CLI_CONFIGURATION_FILE_H
#define TVL_CLI_CONFIGURATION_FILE_H

#include <string>
#include <vector>

namespace tvl::cli {

// Returns 0, or an errno value if the configuration cannot be read. Waits for a while if another computer
// replaces it.
[[nodiscard]] int ConfigurationProblem(const std::string& file);

// Returns where this system has the configuration of a user and that of the computer, in this order.
[[nodiscard]] std::vector<std::string> UsualConfigurations();

// Returns the folder that relative names refer to. Throws Stop if it cannot be determined.
[[nodiscard]] std::string CurrentFolder();

}  // namespace tvl::cli

#endif
