#ifndef TVL_CLI_LOCK_HOLDER_H
#define TVL_CLI_LOCK_HOLDER_H

#include <functional>
#include <string>
#include <vector>

#include "cli/lock_watch.h"

namespace tvl::cli {

// Called once when the lock is lost.
using LossReport = std::function<void(const std::string& reason)>;

// Keeps signals that would end this process from doing so until HoldWhile... has dealt with them, except for
// those that are ignored. Call it before the lock is taken, so that a lock taken is always released.
void BlockEndingSignals();

// Runs a command, waits for its end and returns its exit code: 128 and the signal's number for one that a
// signal ended; 127 if there is no such program, 126 if it cannot be run, reported on standard error.
//
// Signals are passed on to it, except for those of the terminal, which it has received itself. It ends with
// this process, however that ends, since the lock does too. If the lock is lost the command gets SIGTERM, and
// ten seconds later SIGKILL.
[[nodiscard]] int HoldWhileRunning(const std::vector<std::string>& command, LockWatch& watch,
                                   const LossReport& report);

// Waits for the end of standard input, a signal, or the loss of the lock. kInterrupted for a signal.
[[nodiscard]] int HoldUntilInputEnds(LockWatch& watch, const LossReport& report);

}  // namespace tvl::cli

#endif
