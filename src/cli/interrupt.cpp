#include "cli/interrupt.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <string_view>

namespace tvl::cli {
namespace {

std::atomic<bool> interrupted = false;
std::atomic<bool> silent = false;
static_assert(std::atomic<bool>::is_always_lock_free);

constexpr std::string_view kNotice = "tvl: stopping after this file; once more stops at once\n";
constexpr std::string_view kTerminalNotice =
    "\r\x1b[Ktvl: stopping after this file; once more stops at once\n";

void Note(int /*signal*/) {
  const int error = errno;
  interrupted = true;
  signal(SIGINT, SIG_DFL);
  signal(SIGTERM, SIG_DFL);
  if (!silent) {
    const std::string_view notice = isatty(STDERR_FILENO) == 1 ? kTerminalNotice : kNotice;
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, notice.data(), notice.size());
  }
  errno = error;
}

}  // namespace

void CatchInterrupts(bool quiet) {
  silent = quiet;
  struct sigaction action = {};
  action.sa_handler = Note;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool Interrupted() {
  return interrupted;
}

}  // namespace tvl::cli
