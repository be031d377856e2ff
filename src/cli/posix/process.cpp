#include "cli/process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "cli/posix/signals.h"

namespace tvl::cli {
namespace {

constexpr int kInterrupts[] = {SIGINT, SIGTERM};

void (*file_size_signal)(int) = SIG_ERR;
void (*note_interrupt)() = nullptr;

void Interrupt(int /*signal*/) {
  const int error = errno;
  for (const int signal : kInterrupts) {
    if (!IsIgnored(signal)) std::signal(signal, SIG_DFL);
  }
  note_interrupt();
  errno = error;
}

}  // namespace

bool IsIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

std::vector<std::string> StartProcess(int count, const char* const* arguments) {
  file_size_signal = signal(SIGXFSZ, SIG_IGN);
  return {arguments + (count > 0 ? 1 : 0), arguments + count};
}

void RestoreFileSizeSignal() {
  if (file_size_signal != SIG_ERR) signal(SIGXFSZ, file_size_signal);
}

void OnInterrupt(void (*note)()) {
  note_interrupt = note;
  struct sigaction action = {};
  action.sa_handler = Interrupt;
  action.sa_flags = SA_RESTART;
  for (const int signal : kInterrupts) {
    if (!IsIgnored(signal)) sigaction(signal, &action, nullptr);
  }
}

unsigned long ProcessNumber() {
  return static_cast<unsigned long>(getpid());
}

void RaiseFileLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  constexpr rlim_t kEnough = 4096;
  if (limit.rlim_cur >= kEnough) return;
  limit.rlim_cur = limit.rlim_max < kEnough ? limit.rlim_max : kEnough;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace tvl::cli
