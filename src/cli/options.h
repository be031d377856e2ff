#ifndef TVL_CLI_OPTIONS_H
#define TVL_CLI_OPTIONS_H

#include <optional>
#include <string>

namespace tvl::cli {

// The options that may precede or follow any command.
struct Options {
  std::string config;
  std::string tcp;
  std::optional<std::string> work;
  std::string class_name = "tvlc";
  std::string tag_file;
  std::optional<int> timeout;  // seconds
  bool json = false;
  bool quiet = false;
  bool verbose = false;
  bool dry_run = false;
};

}  // namespace tvl::cli

#endif
