#include "cli/interrupt.h"

#include <atomic>
#include <string_view>

#include <tvlclient/tvl.h>

#include "cli/output/terminal.h"
#include "cli/process.h"

namespace tvl::cli {
namespace {

std::atomic<bool> interrupted = false;
std::atomic<bool> silent = false;
static_assert(std::atomic<bool>::is_always_lock_free);

constexpr std::string_view kNotice = "tvl: stopping after this file; interrupt again to stop at once\n";
constexpr std::string_view kTerminalNotice =
    "\r\x1b[Ktvl: stopping after this file; interrupt again to stop at once\n";

// Seconds that a server may stay silent after the user has interrupted the program.
constexpr unsigned int kPatienceAfterInterrupt = 2;

// May run in a signal handler, so it uses only atomic variables and system calls.
void Note() {
  interrupted = true;
  TVLSetTimeout(kPatienceAfterInterrupt);
  if (!silent) WriteErrors(IsTerminal(Stream::kErrors) ? kTerminalNotice : kNotice);
}

}  // namespace

void CatchInterrupts(bool quiet) {
  silent = quiet;
  OnInterrupt(Note);
  TVLSetStopHook([](void* /*unused*/) { return interrupted ? 1 : 0; }, nullptr);
}

bool Interrupted() {
  return interrupted;
}

}  // namespace tvl::cli
