#ifndef TVL_CLI_CONFIGURATION_H
#define TVL_CLI_CONFIGURATION_H

#include <string>

#include "cli/options.h"
#include "cli/output/failure.h"

namespace tvl::cli {

// Returns the configuration file to use, which is readable. Throws Stop with the reason if there is none.
[[nodiscard]] std::string FindConfiguration(const Options& options);

// Returns the full path of the working directory; empty to use the store's own folder in place.
[[nodiscard]] std::string FindWorkingDirectory(const Options& options);

// Explains the code with which the library rejected a configuration: which key or folder is wrong.
[[nodiscard]] Failure ConfigurationFailure(int code);

// Returns the name of a policy of FileCompare, such as "hash".
[[nodiscard]] std::string PolicyName(int policy);

// Describes how files are written at a level of SafeOnTransfert.
[[nodiscard]] std::string SafetyText(int level);

// Returns the client tag for a server: the first line of the tag file, else TVL_TAG, else an empty text.
[[nodiscard]] std::string FindTag(const Options& options);

}  // namespace tvl::cli

#endif
