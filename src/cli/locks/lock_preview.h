#ifndef TVL_CLI_LOCKS_LOCK_PREVIEW_H
#define TVL_CLI_LOCKS_LOCK_PREVIEW_H

#include <string>

#include "cli/options.h"
#include "cli/output/reporter.h"
#include "cli/store.h"

namespace tvl::cli {

// Report what "lock" and "unlock" would do to `object`, without touching the lock table. Return `held_exit`
// or kHeld if a live instance holds it. Throw Stop if the table or the folder of presence markers cannot be
// used.
[[nodiscard]] ExitStatus PreviewLock(const Options& options, Reporter& reporter, const std::string& object,
                                     int held_exit);
[[nodiscard]] ExitStatus PreviewUnlock(const Options& options, Reporter& reporter, const std::string& object);

}  // namespace tvl::cli

#endif
