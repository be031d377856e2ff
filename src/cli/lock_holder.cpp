#include "cli/lock_holder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "cli/exit_status.h"
#include "cli/failure.h"

namespace tvl::cli {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};
constexpr int kNoSuchProgram = 127;
constexpr int kCannotRun = 126;

sigset_t SignalSet(bool with_child) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kEndingSignals) sigaddset(&set, signal);
  if (with_child) sigaddset(&set, SIGCHLD);
  return set;
}

// In the new process, before it becomes the command: only calls that are safe behind a fork.
[[noreturn]] void Become(char* const* arguments, pid_t parent, const sigset_t& mask) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(kCannotRun);  // it ended before that was set
  sigprocmask(SIG_SETMASK, &mask, nullptr);
  execvp(arguments[0], arguments);
  _exit(errno == ENOENT ? kNoSuchProgram : kCannotRun);
}

pid_t StartCommand(const std::vector<std::string>& command, const sigset_t& mask) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) throw Stop(command.front(), SystemFailure("cannot be started", errno, {}));
  if (child == 0) Become(arguments.data(), parent, mask);
  return child;
}

int ExitCodeOf(int status) {
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// True if the command has ended; its exit code then.
bool HasEnded(pid_t child, int& exit) {
  int status = 0;
  if (waitpid(child, &status, WNOHANG) != child) return false;
  exit = ExitCodeOf(status);
  return true;
}

// A descriptor from which signals are read.
class SignalReader {
 public:
  SignalReader() : descriptor_(signalfd(-1, Set(), SFD_CLOEXEC)) {
    if (descriptor_ < 0) throw Stop({}, SystemFailure("signals cannot be waited for", errno, {}));
  }
  ~SignalReader() { close(descriptor_); }
  SignalReader(const SignalReader&) = delete;
  SignalReader& operator=(const SignalReader&) = delete;
  [[nodiscard]] int Descriptor() const { return descriptor_; }

 private:
  static const sigset_t* Set() {
    static const sigset_t set = SignalSet(false);
    return &set;
  }

  int descriptor_;
};

// Reads what is there. False at the end of the input.
bool DrainInput() {
  char bytes[4096];
  const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
  return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

}  // namespace

void BlockEndingSignals() {
  const sigset_t set = SignalSet(true);
  sigprocmask(SIG_BLOCK, &set, nullptr);
}

HoldEnd HoldWhileRunning(const std::vector<std::string>& command) {
  const sigset_t set = SignalSet(true);
  sigset_t unblocked;
  sigprocmask(SIG_SETMASK, nullptr, &unblocked);
  for (const int signal : kEndingSignals) sigdelset(&unblocked, signal);
  sigdelset(&unblocked, SIGCHLD);
  const pid_t child = StartCommand(command, unblocked);
  int exit = kDone;
  while (!HasEnded(child, exit)) {
    siginfo_t info = {};
    const int signal = sigwaitinfo(&set, &info);
    if (signal > 0 && signal != SIGCHLD && info.si_code != SI_KERNEL) kill(child, signal);
  }
  return {exit, false};
}

HoldEnd HoldUntilInputEnds() {
  const SignalReader signals;
  for (;;) {
    pollfd files[] = {{STDIN_FILENO, POLLIN, 0}, {signals.Descriptor(), POLLIN, 0}};
    if (poll(files, 2, -1) < 0) continue;
    if (files[1].revents != 0) return {kInterrupted, true};
    if (files[0].revents != 0 && !DrainInput()) return {kDone, false};
  }
}

}  // namespace tvl::cli
