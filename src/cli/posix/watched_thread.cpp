#include "cli/watched_thread.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include <utility>

namespace tvl::cli {

WatchedThread::WatchedThread() : thread_(pthread_self()) {}

WatchedThread::~WatchedThread() = default;

std::chrono::nanoseconds WatchedThread::TimeUsed() const {
  clockid_t clock = {};
  timespec used = {};
  if (pthread_getcpuclockid(thread_, &clock) != 0 || clock_gettime(clock, &used) != 0) return {};
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

std::thread StartWithoutSignals(std::function<void()> work) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread(std::move(work));
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace tvl::cli
