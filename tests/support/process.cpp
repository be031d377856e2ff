#include "support/process.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <utility>

extern char** environ;

namespace {

constexpr int kPatience = 120 * 1000;  // ms
constexpr std::array<std::string_view, 3> kSteering = {"TVL_", "XDG_CONFIG_HOME=", "HOME="};

struct Pipe {
  Pipe() {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read_end = ends[0];
    write_end = ends[1];
  }
  int read_end = -1;
  int write_end = -1;
};

std::vector<std::string> Environment(const ProcessStart& start) {
  std::vector<std::string> result;
  for (char** at = environ; *at != nullptr; ++at) {
    const std::string_view entry = *at;
    bool steers = false;
    for (const std::string_view prefix : kSteering)
      steers = steers || entry.substr(0, prefix.size()) == prefix;
    if (!steers) result.emplace_back(entry);
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

bool BecomeUser(uid_t user) {
  return user == 0 || (setgroups(0, nullptr) == 0 && setgid(user) == 0 && setuid(user) == 0);
}

// Input small enough for a pipe is written before the program runs.
int InputEnd(const std::string& input) {
  const Pipe pipe;
  const ssize_t written = write(pipe.write_end, input.data(), input.size());
  close(pipe.write_end);
  if (written != static_cast<ssize_t>(input.size())) throw std::runtime_error("input too long for a pipe");
  return pipe.read_end;
}

void CloseOnce(int& descriptor) {
  if (descriptor >= 0) close(std::exchange(descriptor, -1));
}

}  // namespace

Process::Process(const ProcessStart& start) {
  std::vector<std::string> arguments = start.command;
  std::vector<std::string> environment = Environment(start);
  const std::vector<char*> argv = Pointers(arguments);
  const std::vector<char*> envp = Pointers(environment);
  const Pipe out;
  const Pipe err;
  if (start.narrow_output) fcntl(out.write_end, F_SETPIPE_SZ, getpagesize());
  int input = InputEnd(start.input);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(input, STDIN_FILENO);
    dup2(out.write_end, STDOUT_FILENO);
    dup2(err.write_end, STDERR_FILENO);
    const bool placed = start.folder.empty() || chdir(start.folder.c_str()) == 0;
    if (placed && BecomeUser(start.user)) execve(argv[0], argv.data(), envp.data());
    _exit(kCannotStart);
  }
  CloseOnce(input);
  close(out.write_end);
  close(err.write_end);
  out_ = out.read_end;
  err_ = err.read_end;
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

// False, and the descriptor closed, at the end of the stream.
bool Process::ReadBlock(int& descriptor, std::string& text) const {
  pollfd wanted = {descriptor, POLLIN, 0};
  if (poll(&wanted, 1, kPatience) == 0) kill(pid_, SIGKILL);
  std::array<char, 65536> block = {};
  const ssize_t count = read(descriptor, block.data(), block.size());
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
    if (poll(wanted.data(), wanted.size(), kPatience) == 0) kill(pid_, SIGKILL);
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
