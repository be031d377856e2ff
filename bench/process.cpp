#include "process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

extern char** environ;

namespace bench {
namespace {

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

std::string Text(const Command& command) {
  std::string text;
  for (const std::string& word : command) text += (text.empty() ? "" : " ") + word;
  return text;
}

pid_t Start(const Command& command) {
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int problem = posix_spawnp(&child, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (problem != 0) throw std::runtime_error("can't start: " + Text(command));
  return child;
}

}  // namespace

Usage Run(const Command& command) {
  const auto began = std::chrono::steady_clock::now();
  const pid_t child = Start(command);
  int status = 0;
  rusage usage = {};
  while (wait4(child, &status, 0, &usage) < 0) {
    if (errno != EINTR) throw std::runtime_error("cannot wait for: " + Text(command));
  }
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - began;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error("failed: " + Text(command));
  return {wall.count(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
          static_cast<double>(usage.ru_maxrss) / 1024};
}

}  // namespace bench
