#ifndef TVL_CLI_LOCKS_LOCK_WATCH_H
#define TVL_CLI_LOCKS_LOCK_WATCH_H

#include <poll.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "cli/store.h"

namespace tvl::cli {

// Watches a held lock. The caller must not use the store meanwhile.
//
// The end of a connection to a server is noticed at once. For a directory store a separate thread checks once
// a second whether the lock is still held. A check that gets no answer for ten seconds, as on a dead mount,
// counts as a lost lock.
class LockWatch {
 public:
  LockWatch(Store& store, const std::string& object);
  ~LockWatch();
  LockWatch(const LockWatch&) = delete;
  LockWatch& operator=(const LockWatch&) = delete;

  void Start();

  // Return the descriptor to poll together with other files, and the maximum time in milliseconds (-1: no
  // limit), until IsLost may have changed.
  [[nodiscard]] pollfd Wanted() const;
  [[nodiscard]] int Patience() const;

  // Returns true once the lock is lost. Never blocks.
  [[nodiscard]] bool IsLost();
  // Returns why the lock was lost.
  [[nodiscard]] std::string Reason() const;

  // Checks a last time and ends the watch, so that the store can be used again. Returns false if no answer
  // comes: then the connection can be neither used nor closed, and this object cannot be destroyed.
  [[nodiscard]] bool Finish();

 private:
  using Clock = std::chrono::steady_clock;

  void Watch(const std::stop_token& stop);
  bool Ask(std::unique_lock<std::mutex>& lock);
  void Lose(const std::string& reason);
  [[nodiscard]] bool IsOverdue() const;

  Store& store_;
  const std::string object_;
  int news_ = -1;  // an eventfd that the thread writes to; -1 for a server
  mutable std::mutex mutex_;
  std::condition_variable_any wake_;
  bool asking_ = false;
  Clock::time_point asked_ = {};
  bool last_ = false;  // the next question is the last
  bool done_ = false;  // no more questions are asked
  bool lost_ = false;
  std::string reason_;
  std::jthread thread_;  // last: it uses all of the above
};

}  // namespace tvl::cli

#endif
