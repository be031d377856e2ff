#include "store/check/lock_child.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "host/descriptor.h"
#include "host/file_lock.h"
#include "host/system_calls.h"

namespace tvl {
namespace {

[[noreturn]] void HoldUntilKilled(const char* path, const LockRange& range, LockKind kind, int answer) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int file = open(path, O_RDWR | O_CLOEXEC);
  const char holds = file >= 0 && TakeLock(file, range, kind) ? 'y' : 'n';
  if (write(answer, &holds, 1) != 1) _exit(1);
  for (;;) pause();
}

}  // namespace

bool TakeLock(int descriptor, const LockRange& range, LockKind kind) {
  const short type = kind == LockKind::kShared ? F_RDLCK : F_WRLCK;
  return descriptor >= 0 && TryLock(descriptor, type, range);
}

void DropLock(int descriptor, const LockRange& range) {
  Unlock(descriptor, range);
}

bool CanLock(const std::string& path, const LockRange& range, LockKind kind) {
  const Descriptor file(System().open(path.c_str(), O_RDWR | O_CLOEXEC, 0));
  return TakeLock(file.Get(), range, kind);
}

LockChild::LockChild(const std::string& path, const LockRange& range, LockKind kind) {
  std::array<int, 2> answer = {};
  if (pipe2(answer.data(), O_CLOEXEC) != 0) return;
  pid_ = fork();
  if (pid_ == 0) HoldUntilKilled(path.c_str(), range, kind, answer[1]);
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

}  // namespace tvl
