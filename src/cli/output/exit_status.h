#ifndef TVL_CLI_OUTPUT_EXIT_STATUS_H
#define TVL_CLI_OUTPUT_EXIT_STATUS_H

namespace tvl::cli {

// Exit codes of the program.
enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,
  kSkipped = 3,      // done, but something was skipped
  kHeld = 4,         // another client holds the lock or the file
  kUnreachable = 5,  // the store or the server cannot be used, or a lock was lost
  kNotFound = 6,
  kNotAllowed = 7,  // forbidden by the rules of the store or server
  kInterrupted = 130
};

}  // namespace tvl::cli

#endif
