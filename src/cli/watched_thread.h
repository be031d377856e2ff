#ifndef TVL_CLI_WATCHED_THREAD_H
#define TVL_CLI_WATCHED_THREAD_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>

namespace tvl::cli {

// The thread that creates this object, for another one that watches it.
class WatchedThread {
 public:
  WatchedThread();
  ~WatchedThread();
  WatchedThread(const WatchedThread&) = delete;
  WatchedThread& operator=(const WatchedThread&) = delete;

  // Returns the processor time that the thread has used; 0 if that is unknown.
  [[nodiscard]] std::chrono::nanoseconds TimeUsed() const;

 private:
  std::uintptr_t thread_;
};

// Starts a thread that handles no signals.
[[nodiscard]] std::thread StartWithoutSignals(std::function<void()> work);

}  // namespace tvl::cli

#endif
