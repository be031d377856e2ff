#ifndef TVL_CLI_TRANSFER_TRANSFER_BATCH_H
#define TVL_CLI_TRANSFER_TRANSFER_BATCH_H

#include <cstddef>
#include <vector>

#include "cli/names.h"
#include "cli/options.h"
#include "cli/store.h"
#include "cli/transfer/transfer_log.h"
#include "cli/transfer/transfer_plan.h"

namespace tvl::cli {

// A group of files that are transferred together (CTVLClientSmbOpr::BeginTransfers). The
// result of a file is reported when its group ends.
class TransferBatch {
 public:
  TransferBatch(Store& store, TransferLog& log, Direction direction, const Options& options);

  // Opens a group unless the store's transfers are written in place.
  void Begin();

  // Reports a copied file, at once if no group is open.
  void Add(const TransferJob& job, Outcome outcome);

  // Ends the group and reports the results of its files.
  void End();

 private:
  struct Copied {
    TransferJob job;
    Outcome outcome;
  };
  static void ReportResult(int index, int code, void* batch);

  Store& store_;
  TransferLog& log_;
  const Direction direction_;
  const Options& options_;
  bool open_ = false;
  std::vector<Copied> copied_;
  std::size_t reported_ = 0;  // number of copied_ that were reported
};

}  // namespace tvl::cli

#endif
