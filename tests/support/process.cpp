#include "support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <utility>

extern char** environ;

namespace {

constexpr int kPatience = 120 * 1000;  // ms
constexpr int kFirstPassed = 3;
constexpr std::array<std::string_view, 3> kSteering = {"TVL_", "XDG_CONFIG_HOME=", "HOME="};

// Returns the end to read from, and the one to write to.
std::pair<int, int> Pipe() {
  std::array<int, 2> ends = {};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return {ends[0], ends[1]};
}

std::vector<std::string> Environment(const ProcessStart& start) {
  std::vector<std::string> result;
  for (char** at = environ; *at != nullptr; ++at) {
    const std::string_view entry = *at;
    const auto steers = [entry](std::string_view prefix) { return entry.starts_with(prefix); };
    if (std::none_of(kSteering.begin(), kSteering.end(), steers)) result.emplace_back(entry);
  }
  for (const auto& [name, value] : start.environment) result.push_back(name + "=" + value);
  return result;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

void CloseOnce(int& descriptor) {
  if (descriptor >= 0) close(std::exchange(descriptor, -1));
}

}  // namespace

// Writes the input before the program runs; it must be small enough for a pipe.
Process::Process(const ProcessStart& start) {
  std::vector<std::string> arguments = start.command;
  std::vector<std::string> environment = Environment(start);
  const std::vector<char*> argv = Pointers(arguments);
  const std::vector<char*> envp = Pointers(environment);
  const auto [in, in_writer] = Pipe();
  const auto [out, out_writer] = Pipe();
  const auto [err, err_writer] = Pipe();
  out_ = out;
  err_ = err;
  const ssize_t given = write(in_writer, start.input.data(), start.input.size());
  if (given != static_cast<ssize_t>(start.input.size()))
    throw std::runtime_error("input too long for a pipe");
  if (start.narrow_output) fcntl(out_writer, F_SETPIPE_SZ, getpagesize());
  pid_ = fork();
  if (pid_ == 0) {
    dup2(in, STDIN_FILENO);
    dup2(out_writer, STDOUT_FILENO);
    dup2(err_writer, STDERR_FILENO);
    if (start.passed >= 0) dup2(fcntl(start.passed, F_DUPFD_CLOEXEC, kFirstPassed + 1), kFirstPassed);
    if (start.folder.empty() || chdir(start.folder.c_str()) == 0) execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  for (const int end : {in, in_writer, out_writer, err_writer}) close(end);
  if (pid_ < 0) throw std::runtime_error("no process");
}

Process::~Process() {
  CloseOnce(out_);
  CloseOnce(err_);
  if (pid_ < 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void Process::Signal(int signal) const {
  kill(pid_, signal);
}

// Returns false and closes the descriptor at the end of the stream.
bool Process::ReadBlock(int& descriptor, std::string& text) const {
  pollfd wanted = {descriptor, POLLIN, 0};
  const bool ready = poll(&wanted, 1, kPatience) == 1;
  if (!ready) kill(pid_, SIGKILL);
  std::array<char, 65536> block = {};
  const ssize_t count = ready ? read(descriptor, block.data(), block.size()) : 0;
  if (count > 0) text.append(block.data(), static_cast<std::size_t>(count));
  if (count <= 0) CloseOnce(descriptor);
  return count > 0;
}

bool Process::ReadErrorsUntil(const std::string& text) {
  while (result_.err.find(text) == std::string::npos) {
    if (err_ < 0 || !ReadBlock(err_, result_.err)) return false;
  }
  return true;
}

bool Process::AwaitOutput() const {
  pollfd wanted = {out_, POLLIN, 0};
  return poll(&wanted, 1, kPatience) == 1 && (wanted.revents & POLLIN) != 0;
}

void Process::ReadBoth() {
  while (out_ >= 0 || err_ >= 0) {
    std::array<pollfd, 2> wanted = {{{out_, POLLIN, 0}, {err_, POLLIN, 0}}};
    const bool silent = poll(wanted.data(), wanted.size(), kPatience) == 0;
    if (silent) {
      kill(pid_, SIGKILL);
      return;  // a process that it started may keep the streams open
    }
    if (wanted[0].revents != 0) ReadBlock(out_, result_.out);
    if (wanted[1].revents != 0) ReadBlock(err_, result_.err);
  }
}

ProcessResult Process::Finish() {
  ReadBoth();
  int status = 0;
  waitpid(std::exchange(pid_, -1), &status, 0);
  result_.exit = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return result_;
}

ProcessResult RunProcess(const ProcessStart& start) {
  return Process(start).Finish();
}
