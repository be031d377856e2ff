#include "cli/completion/limited_output.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

namespace tvl::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kComplete = '\0';  // the last byte of a complete result

// A process that outlives its parent must not keep the output open, because the shell reads it to its end.
void LeaveOutput() {
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, file);
}

[[noreturn]] void Work(const std::function<std::string()>& work, int output) {
  LeaveOutput();
  int exit = 1;
  try {
    const std::string result = work() + kComplete;
    std::size_t written = 0;
    while (written < result.size()) {
      const ssize_t count = write(output, result.data() + written, result.size() - written);
      if (count <= 0) break;
      written += static_cast<std::size_t>(count);
    }
    exit = 0;
  } catch (...) {  // the result remains incomplete
  }
  _exit(exit);
}

// Appends what is available. Returns false at the end of the output and at the end of the time.
bool Receive(int input, Clock::time_point end, std::string& result) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
  pollfd file = {input, POLLIN, 0};
  if (left <= 0 || poll(&file, 1, static_cast<int>(left)) == 0) return false;
  char bytes[4096];
  const ssize_t count = read(input, bytes, sizeof bytes);
  if (count > 0) result.append(bytes, static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && errno == EINTR);
}

}  // namespace

std::string LimitedOutput(const std::function<std::string()>& work, std::chrono::milliseconds limit) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  const auto end = Clock::now() + limit;
  const pid_t child = fork();
  if (child == 0) Work(work, ends[1]);
  close(ends[1]);
  std::string result;
  while (child > 0 && Receive(ends[0], end, result)) continue;
  close(ends[0]);
  if (child > 0) kill(child, SIGKILL);
  if (result.empty() || result.back() != kComplete) return {};
  result.pop_back();
  return result;
}

}  // namespace tvl::cli
