#include "support/helper_process.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "support/forked.h"

namespace {

std::string ReadLine(int descriptor) {
  std::string line;
  char character = 0;
  while (read(descriptor, &character, 1) == 1 && character != '\n') line += character;
  return line;
}

void WriteLine(int descriptor, const std::string& line) {
  const std::string bytes = line + '\n';
  if (write(descriptor, bytes.data(), bytes.size()) < 0) _exit(99);
}

}  // namespace

HelperProcess::HelperProcess(std::vector<std::string> role_and_arguments) {
  int in[2];
  int out[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) abort();
  role_and_arguments.insert(role_and_arguments.begin(), {"test", "--role"});
  std::vector<char*> arguments;
  arguments.reserve(role_and_arguments.size() + 1);
  for (std::string& argument : role_and_arguments) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  process_ = fork();
  if (process_ == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    execv("/proc/self/exe", arguments.data());
    _exit(98);
  }
  close(in[0]);
  close(out[1]);
  to_helper_ = in[1];
  from_helper_ = out[0];
}

HelperProcess::~HelperProcess() {
  if (process_ > 0) {
    Signal(SIGKILL);
    Wait();
  }
  close(to_helper_);
  close(from_helper_);
}

std::string HelperProcess::Hear() {
  return ReadLine(from_helper_);
}

void HelperProcess::Say(const std::string& line) {
  WriteLine(to_helper_, line);
}

void HelperProcess::Signal(int signal) const {
  kill(process_, signal);
}

int HelperProcess::Wait() {
  return WaitFor(std::exchange(process_, -1));
}
