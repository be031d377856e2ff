#include "cli/locks/lock_holder.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>

#include "cli/output/exit_status.h"
#include "cli/output/failure.h"
#include "cli/posix/signals.h"
#include "host/descriptor.h"

namespace tvl::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};
constexpr int kNoSuchProgram = 127;
constexpr int kCannotRun = 126;
constexpr std::chrono::seconds kTimeToEnd{10};

// A signal that was ignored when this process started stays ignored.
sigset_t SignalSet() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGCHLD);
  for (const int signal : kEndingSignals) {
    if (!IsIgnored(signal)) sigaddset(&set, signal);
  }
  return set;
}

// --- Running the command ---

struct Command {
  pid_t process = -1;
  int failure = 0;  // an errno value if it could not be run
};

// Runs in the child process before it becomes the command. Uses only calls that are safe after a fork.
[[noreturn]] void Become(char* const* arguments, pid_t parent, const sigset_t& mask, int failure) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(kCannotRun);  // the parent ended before PR_SET_PDEATHSIG took effect
  RestoreFileSizeSignal();
  sigprocmask(SIG_SETMASK, &mask, nullptr);
  execvp(arguments[0], arguments);
  const int error = errno;
  [[maybe_unused]] const ssize_t written = write(failure, &error, sizeof error);
  _exit(kCannotRun);
}

// The pipe closes when the command runs, or else contains the errno value.
int ReadFailure(int descriptor) {
  int error = 0;
  ssize_t count = 0;
  do {
    count = read(descriptor, &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  return count == sizeof error ? error : 0;
}

Command StartCommand(const std::vector<std::string>& command, const sigset_t& mask) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  std::array<int, 2> failure = {};
  if (pipe2(failure.data(), O_CLOEXEC) != 0) return {-1, errno};
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) Become(arguments.data(), parent, mask, failure[1]);
  const int error = errno;
  close(failure[1]);
  const Command started = {child, child < 0 ? error : ReadFailure(failure[0])};
  close(failure[0]);
  return started;
}

// Returns the exit code of the command if it has ended.
std::optional<int> ExitCodeOf(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, WNOHANG) != child) return std::nullopt;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int ReportCannotRun(Reporter& reporter, const std::string& name, const Command& command) {
  if (command.process > 0) waitpid(command.process, nullptr, 0);
  const int exit = command.failure == ENOENT ? kNoSuchProgram : kCannotRun;
  reporter.Fail(name, {static_cast<ExitStatus>(exit), 0, "cannot be run", command.failure});
  return exit;
}

// Asks the command to end, and kills it after a grace period.
class Ending {
 public:
  void Begin(pid_t child) {
    kill(child, SIGTERM);
    kill(child, SIGCONT);  // a stopped process could not handle SIGTERM
    end_ = Clock::now() + kTimeToEnd;
  }
  void Enforce(pid_t child) {
    if (end_ && Clock::now() >= *end_) kill(child, SIGKILL);
  }
  [[nodiscard]] bool HasBegun() const { return end_.has_value(); }

 private:
  std::optional<Clock::time_point> end_;
};

// --- Waiting ---

// A descriptor from which signals are read.
class SignalReader {
 public:
  SignalReader() {
    const sigset_t set = SignalSet();
    descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) throw Stop({}, SystemFailure("cannot wait for signals", errno, {}));
  }
  ~SignalReader() { close(descriptor_); }
  SignalReader(const SignalReader&) = delete;
  SignalReader& operator=(const SignalReader&) = delete;

  [[nodiscard]] int Descriptor() const { return descriptor_; }

  // Returns the next pending signal that ends this process, with its sender, if there is one.
  [[nodiscard]] std::optional<signalfd_siginfo> Next() const {
    signalfd_siginfo info = {};
    while (read(descriptor_, &info, sizeof info) == sizeof info) {
      if (info.ssi_signo != SIGCHLD) return info;
    }
    return std::nullopt;
  }

 private:
  int descriptor_ = -1;
};

void PassOn(const SignalReader& signals, pid_t child) {
  while (const auto info = signals.Next()) {
    const bool from_terminal = info->ssi_code == SI_KERNEL;
    if (!from_terminal) kill(child, static_cast<int>(info->ssi_signo));
  }
}

// Makes the system notice within ten seconds that the server or the network has disappeared. Later, the
// server may have given the lock to another client.
void ProbeConnection(int descriptor) {
  const struct { int option, value; } settings[] = {{TCP_KEEPIDLE, 4}, {TCP_KEEPINTVL, 2}, {TCP_KEEPCNT, 3}};
  for (const auto& setting : settings)
    setsockopt(descriptor, IPPROTO_TCP, setting.option, &setting.value, sizeof setting.value);
}

// The loss of a lock as a file to poll: the connection to a server, or an eventfd for a directory store.
class LossFile {
 public:
  explicit LossFile(LockWatch& watch) : watch_(watch) {
    if (const std::optional<int> connection = watch.Connection()) {
      ProbeConnection(*connection);
      file_ = {*connection, POLLRDHUP, 0};
      return;
    }
    news_ = std::make_shared<Descriptor>(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!news_->IsOpen()) throw Stop({}, SystemFailure("the lock cannot be watched", errno, {}));
    file_ = {news_->Get(), POLLIN, 0};
  }

  void Watch() {
    watch_.Start([news = news_] {
      if (news) eventfd_write(news->Get(), 1);
    });
  }

  [[nodiscard]] pollfd Wanted() const { return watch_.WasLost() ? pollfd{-1, 0, 0} : file_; }

  // Returns the longest time in milliseconds until IsLost may have changed; -1 if the file announces that.
  [[nodiscard]] int Patience() const { return news_ ? kMillisecondsBetweenLooks : -1; }

 private:
  static constexpr int kMillisecondsBetweenLooks = 500;

  LockWatch& watch_;
  std::shared_ptr<Descriptor> news_;  // null for a server; the watch may still announce a loss later
  pollfd file_ = {-1, 0, 0};
};

// Discards the available input. Returns false at the end of the input.
bool DrainInput() {
  char bytes[4096];
  const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
  return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

}  // namespace

const char* const kEndOnLoss = "the command gets SIGTERM, in 10 s SIGKILL";
const char* const kEndOnLossHelp = "the command gets SIGTERM\nand ten seconds later SIGKILL.";

void BlockEndingSignals() {
  signal(SIGCHLD, SIG_DFL);  // if ignored, the system would discard the command's exit code
  const sigset_t set = SignalSet();
  sigprocmask(SIG_BLOCK, &set, nullptr);
}

int HoldWhileRunning(const std::vector<std::string>& command, LockWatch& watch, Reporter& reporter,
                     const LossReport& report) {
  constexpr int kEndingLook = 100;  // ms between two checks whether the command has ended
  const SignalReader signals;
  LossFile loss(watch);
  sigset_t unblocked;
  sigprocmask(SIG_SETMASK, nullptr, &unblocked);
  for (const int signal : kEndingSignals) sigdelset(&unblocked, signal);
  sigdelset(&unblocked, SIGCHLD);
  const Command child = StartCommand(command, unblocked);
  if (child.failure != 0) return ReportCannotRun(reporter, command.front(), child);
  reporter.LeaveOutput();
  loss.Watch();
  Ending ending;
  for (;;) {
    if (const auto exit = ExitCodeOf(child.process)) return *exit;
    pollfd files[] = {{signals.Descriptor(), POLLIN, 0}, loss.Wanted()};
    poll(files, 2, ending.HasBegun() ? kEndingLook : loss.Patience());
    PassOn(signals, child.process);
    ending.Enforce(child.process);
    if (ending.HasBegun() || !watch.IsLost()) continue;
    report(watch.Reason());
    ending.Begin(child.process);
  }
}

int HoldUntilInputEnds(LockWatch& watch, const LossReport& report) {
  const SignalReader signals;
  LossFile loss(watch);
  loss.Watch();
  for (;;) {
    pollfd files[] = {{STDIN_FILENO, POLLIN, 0}, {signals.Descriptor(), POLLIN, 0}, loss.Wanted()};
    if (poll(files, 3, loss.Patience()) < 0) continue;
    if (watch.IsLost()) {
      report(watch.Reason());
      return kUnreachable;
    }
    if (signals.Next()) return kInterrupted;
    if (files[0].revents != 0 && !DrainInput()) return kDone;
  }
}

}  // namespace tvl::cli
