#ifndef TVL_TESTS_SUPPORT_FORKED_H
#define TVL_TESTS_SUPPORT_FORKED_H

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

// Forks a child that runs `work` and ends at once with its result as the exit code. It is killed after a
// while if it hangs.
inline pid_t Fork(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child != 0) return child;
  alarm(60);
  _exit(work());
}

// Waits for the end of a child. Returns its exit code, or minus the signal that ended it.
inline int WaitFor(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

#endif
