#ifndef TVL_CLI_EXIT_STATUS_H
#define TVL_CLI_EXIT_STATUS_H

namespace tvl::cli {

// What the exit code means to a script.
enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,
  kSkipped = 3,      // done, except for something that was left out
  kHeld = 4,         // another instance holds what was asked for
  kUnreachable = 5,  // the store or the server cannot be used, or a lock was lost
  kNotFound = 6,
  kNotAllowed = 7,  // by the store's or the server's rules
  kInterrupted = 130
};

}  // namespace tvl::cli

#endif
