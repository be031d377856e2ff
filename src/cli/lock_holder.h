#ifndef TVL_CLI_LOCK_HOLDER_H
#define TVL_CLI_LOCK_HOLDER_H

#include <string>
#include <vector>

namespace tvl::cli {

// How the time under a lock ended.
struct HoldEnd {
  int exit;          // exit code for this program
  bool interrupted;  // by a signal to this program
};

// Keeps signals that would end this process from doing so until HoldWhile... has dealt with them. Call it
// before the lock is taken, so that a lock taken is always given back.
void BlockEndingSignals();

// Runs a command and waits for its end. Signals go on to it, but for those of the terminal, which it has got
// already. It ends with this process, however that ends, since the lock does too. Its exit code is passed on;
// 128 and the signal's number for one that a signal ended; 127 if there is no such program, 126 if it can't
// be run.
[[nodiscard]] HoldEnd HoldWhileRunning(const std::vector<std::string>& command);

// Waits for the end of standard input, or a signal.
[[nodiscard]] HoldEnd HoldUntilInputEnds();

}  // namespace tvl::cli

#endif
