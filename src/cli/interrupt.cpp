#include "cli/interrupt.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <string_view>

#include <tvlclient/tvl.h>

namespace tvl::cli {
namespace {

std::atomic<bool> interrupted = false;
std::atomic<bool> silent = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void (*file_size_signal)(int) = SIG_ERR;

constexpr std::string_view kNotice = "tvl: stopping after this file; interrupt again to stop at once\n";
constexpr std::string_view kTerminalNotice =
    "\r\x1b[Ktvl: stopping after this file; interrupt again to stop at once\n";

// Seconds that a server may stay silent after the user has interrupted the program.
constexpr unsigned int kPatienceAfterInterrupt = 2;

// Runs in a signal handler, so it uses only atomic variables and system calls.
void Note(int /*signal*/) {
  const int error = errno;
  interrupted = true;
  TVLSetTimeout(kPatienceAfterInterrupt);
  for (const int signal : {SIGINT, SIGTERM}) {
    if (!IsIgnored(signal)) std::signal(signal, SIG_DFL);
  }
  if (!silent) {
    const std::string_view notice = isatty(STDERR_FILENO) == 1 ? kTerminalNotice : kNotice;
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, notice.data(), notice.size());
  }
  errno = error;
}

}  // namespace

bool IsIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void IgnoreFileSizeSignal() {
  file_size_signal = signal(SIGXFSZ, SIG_IGN);
}

void RestoreFileSizeSignal() {
  if (file_size_signal != SIG_ERR) signal(SIGXFSZ, file_size_signal);
}

void CatchInterrupts(bool quiet) {
  silent = quiet;
  struct sigaction action = {};
  action.sa_handler = Note;
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGINT, SIGTERM}) {
    if (!IsIgnored(signal)) sigaction(signal, &action, nullptr);
  }
  TVLSetStopHook([](void* /*unused*/) { return interrupted ? 1 : 0; }, nullptr);
}

bool Interrupted() {
  return interrupted;
}

}  // namespace tvl::cli
