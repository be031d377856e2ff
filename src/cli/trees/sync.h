#ifndef TVL_CLI_TREES_SYNC_H
#define TVL_CLI_TREES_SYNC_H

#include <optional>
#include <string>

#include "cli/names.h"
#include "cli/options.h"
#include "cli/output/reporter.h"
#include "cli/trees/saved_sync_plan.h"
#include "cli/trees/sync_scope.h"

namespace tvl::cli {

// The command line of a synchronization.
struct SyncRequest {
  SyncScope scope;
  std::optional<std::string> most_deletions;
  std::string backup_folder;
  std::string plan_file;  // to write the plan to, instead of carrying it out
  bool check = false;     // compare the hashes of both sides after the work
};

// Throws Stop if it cannot be carried out. With `saved`, does exactly what that plan says, or nothing.
[[nodiscard]] ExitStatus RunSync(const Options& options, Reporter& reporter, const SyncRequest& request,
                                 const SavedSyncPlan* saved = nullptr);

}  // namespace tvl::cli

#endif
