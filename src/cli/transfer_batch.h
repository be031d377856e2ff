#ifndef TVL_CLI_TRANSFER_BATCH_H
#define TVL_CLI_TRANSFER_BATCH_H

#include <cstddef>
#include <vector>

#include "cli/names.h"
#include "cli/options.h"
#include "cli/store.h"
#include "cli/transfer_log.h"
#include "cli/transfer_plan.h"

namespace tvl::cli {

// Files that are transferred together and synced once (CTVLClientSmbOpr::BeginTransfers). What became of a
// file is reported when its group ends.
class TransferBatch {
 public:
  TransferBatch(Store& store, TransferLog& log, Direction direction, const Options& options);

  // Opens a group for a store whose transfers are synced; does nothing for others.
  void Begin();

  // Reports a copied file: at once where no group is open.
  void Add(const TransferJob& job, Outcome outcome);

  // Ends the group and reports its files.
  void End();

 private:
  struct Copied {
    TransferJob job;
    Outcome outcome;
  };
  static void TellResult(int index, int code, void* batch);

  Store& store_;
  TransferLog& log_;
  const Direction direction_;
  const Options& options_;
  bool open_ = false;
  std::vector<Copied> copied_;
  std::size_t told_ = 0;  // of these
};

}  // namespace tvl::cli

#endif
