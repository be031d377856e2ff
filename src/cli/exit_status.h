#ifndef TVL_CLI_EXIT_STATUS_H
#define TVL_CLI_EXIT_STATUS_H

namespace tvl::cli {

// What the program's exit tells a script.
enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,
  kSkipped = 3,      // done, but for something that was left out
  kHeld = 4,         // another instance holds what was asked for
  kUnreachable = 5,  // no store or no server behind the configuration
  kNotFound = 6,
  kNotAllowed = 7,  // by the store's or the server's rules
  kInterrupted = 130
};

}  // namespace tvl::cli

#endif
