#include "cli/lock_child.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace tvl::cli {
namespace {

[[noreturn]] void HoldUntilKilled(const char* path, int answer) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int file = open(path, O_RDWR | O_CLOEXEC);
  const char holds = file >= 0 && TryLock(file) ? 'y' : 'n';
  if (write(answer, &holds, 1) != 1) _exit(1);
  for (;;) pause();
}

}  // namespace

bool TryLock(int descriptor) {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

LockChild::LockChild(const std::string& path) {
  std::array<int, 2> answer = {};
  if (pipe2(answer.data(), O_CLOEXEC) != 0) return;
  pid_ = fork();
  if (pid_ == 0) HoldUntilKilled(path.c_str(), answer[1]);
  close(answer[1]);
  char holds = 'n';
  if (pid_ > 0) {
    while (read(answer[0], &holds, 1) < 0 && errno == EINTR) {
    }
  }
  close(answer[0]);
  holds_ = holds == 'y';
}

LockChild::~LockChild() {
  Kill();
}

void LockChild::Kill() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
}

}  // namespace tvl::cli
