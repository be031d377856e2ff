#ifndef TVL_CLI_LOCKS_LOCK_WATCH_H
#define TVL_CLI_LOCKS_LOCK_WATCH_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
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

  // Calls `loss`, on any thread, when the lock of a directory store turns out to be lost.
  void Start(std::function<void()> loss);

  // Returns the socket of the connection to a server, whose end is the loss; empty for a directory store.
  [[nodiscard]] std::optional<int> Connection() const;

  // Returns true once the lock is lost. Never blocks. To be called twice a second for a directory store,
  // since a store that does not answer calls nothing.
  [[nodiscard]] bool IsLost();
  // Returns what IsLost returned, without looking.
  [[nodiscard]] bool WasLost() const;
  // Returns why the lock was lost.
  [[nodiscard]] std::string Reason() const;

  // Checks a last time and ends the watch, so that the store can be used again. Returns false if no answer
  // comes: then the connection can be neither used nor closed, and this object cannot be destroyed.
  [[nodiscard]] bool Finish();

 private:
  using Clock = std::chrono::steady_clock;

  void Watch();
  bool Ask(std::unique_lock<std::mutex>& lock);
  void Lose(const std::string& reason);
  [[nodiscard]] bool IsOverdue() const;

  Store& store_;
  const std::string object_;
  std::function<void()> loss_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  bool asking_ = false;
  Clock::time_point asked_ = {};
  bool ends_ = false;  // ends the thread without an answer
  bool last_ = false;  // the next question is the last
  bool done_ = false;  // no more questions are asked
  bool lost_ = false;
  std::string reason_;
  std::thread thread_;  // last: it uses all of the above
};

}  // namespace tvl::cli

#endif
