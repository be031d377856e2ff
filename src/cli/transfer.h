#ifndef TVL_CLI_TRANSFER_H
#define TVL_CLI_TRANSFER_H

#include <string>
#include <vector>

#include "cli/names.h"
#include "cli/options.h"

namespace tvl::cli {

// What the command line of a get or put asks for.
struct TransferRequest {
  std::vector<std::string> names;
  std::string to;
  bool recursive = false;
  bool force = false;
};

[[nodiscard]] ExitStatus RunTransfer(Direction direction, const Options& options,
                                     const TransferRequest& request);

}  // namespace tvl::cli

#endif
