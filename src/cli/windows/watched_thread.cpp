#include "cli/watched_thread.h"

#include <windows.h>

#include <utility>

namespace tvl::cli {
namespace {

std::uint64_t TicksOf(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
}

}  // namespace

WatchedThread::WatchedThread() : thread_(0) {
  HANDLE thread = nullptr;
  if (DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, 0, FALSE,
                      DUPLICATE_SAME_ACCESS) != 0)
    thread_ = reinterpret_cast<std::uintptr_t>(thread);
}

WatchedThread::~WatchedThread() {
  if (thread_ != 0) CloseHandle(reinterpret_cast<HANDLE>(thread_));
}

std::chrono::nanoseconds WatchedThread::TimeUsed() const {
  constexpr std::uint64_t kNanosecondsOfTick = 100;
  FILETIME created;
  FILETIME ended;
  FILETIME kernel;
  FILETIME user;
  if (GetThreadTimes(reinterpret_cast<HANDLE>(thread_), &created, &ended, &kernel, &user) == 0) return {};
  return std::chrono::nanoseconds((TicksOf(kernel) + TicksOf(user)) * kNanosecondsOfTick);
}

// The system calls handlers of the console on threads of their own.
std::thread StartWithoutSignals(std::function<void()> work) {
  return std::thread(std::move(work));
}

}  // namespace tvl::cli
