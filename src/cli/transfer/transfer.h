#ifndef TVL_CLI_TRANSFER_TRANSFER_H
#define TVL_CLI_TRANSFER_TRANSFER_H

#include <string>
#include <vector>

#include "cli/names.h"
#include "cli/options.h"
#include "cli/output/reporter.h"
#include "cli/store.h"

namespace tvl::cli {

// The command line of a get or put.
struct TransferRequest {
  std::vector<std::string> names;
  OtherSide other;
  bool recursive = false;
  bool force = false;
  bool follow = false;  // links may lead out of the store
};

[[nodiscard]] ExitStatus RunTransfer(Direction direction, const Options& options, Reporter& reporter,
                                     const TransferRequest& request);

// Copies files, or trees with `recursive`, within a store that is used in place. In each pair `local` is the
// name of the copy in the store. With `follow`, links may lead out of the store.
[[nodiscard]] ExitStatus RunCopies(Store& store, const Options& options, Reporter& reporter,
                                   const std::vector<NamePair>& names, bool recursive, bool follow);

}  // namespace tvl::cli

#endif
