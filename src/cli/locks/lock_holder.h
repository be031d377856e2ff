#ifndef TVL_CLI_LOCKS_LOCK_HOLDER_H
#define TVL_CLI_LOCKS_LOCK_HOLDER_H

#include <functional>
#include <string>
#include <vector>

#include "cli/locks/lock_watch.h"
#include "cli/output/reporter.h"

namespace tvl::cli {

// Callback, called once when the lock is lost.
using LossReport = std::function<void(const std::string& reason)>;

// What a loss of the lock means for the command: for a message, and in the help, with a line end.
extern const char* const kEndOnLoss;
extern const char* const kEndOnLossHelp;

// Blocks the signals that would end this process, except ignored ones, until a Hold... function handles them.
// Call it before locking, so that the lock is always released.
void BlockEndingSignals();

// Runs a command, waits until it ends and returns its exit code: 128 plus the number of the signal that ended
// it, 127 if the program does not exist, or 126 if it cannot be run. The last two are reported. While
// the command runs, standard output belongs to it.
//
// Signals are passed on to the command, except for those from the terminal, which the command receives
// itself. The command ends with this process, because the lock does too. If the lock is lost, the command
// gets SIGTERM and ten seconds later SIGKILL. On Windows, where there are no signals, the command and all
// processes that it has started are ended together.
[[nodiscard]] int HoldWhileRunning(const std::vector<std::string>& command, LockWatch& watch,
                                   Reporter& reporter, const LossReport& report);

// Waits for the end of standard input, a signal, or the loss of the lock. Returns kInterrupted for a signal.
[[nodiscard]] int HoldUntilInputEnds(LockWatch& watch, const LossReport& report);

}  // namespace tvl::cli

#endif
