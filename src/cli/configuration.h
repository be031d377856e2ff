#ifndef TVL_CLI_CONFIGURATION_H
#define TVL_CLI_CONFIGURATION_H

#include <string>

#include "cli/failure.h"
#include "cli/options.h"

namespace tvl::cli {

// The configuration file to use, which can be read. Throws Stop, with the reason, where there is none.
[[nodiscard]] std::string FindConfiguration(const Options& options);

// Full path of the folder that local names start from; empty to use the store's own folder in place.
[[nodiscard]] std::string FindWorkingDirectory(const Options& options);

// What the library's refusal of `file` means: which key, which folder.
[[nodiscard]] Failure ConfigurationFailure(int code);

// How files are written at a level of SafeOnTransfert.
[[nodiscard]] std::string SafetyText(int level);

// The client tag for a server: the first line of the tag file, or TVL_TAG, or nothing.
[[nodiscard]] std::string FindTag(const Options& options);

struct ServerAddress {
  std::string host;
  unsigned int port;
};
// Takes "host:port" or "[address]:port" apart. Throws Stop for anything else.
[[nodiscard]] ServerAddress ParseServer(const std::string& text);

}  // namespace tvl::cli

#endif
