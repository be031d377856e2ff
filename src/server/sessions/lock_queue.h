#ifndef TVL_SERVER_SESSIONS_LOCK_QUEUE_H
#define TVL_SERVER_SESSIONS_LOCK_QUEUE_H

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>
#include <asio/thread_pool.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "server/metrics/queue_ticket.h"
#include "server/sessions/run_on.h"
#include "table/ctree_file.h"

namespace tvl::server {

// Executes all operations on presence and locks one after another on the engine thread.
//
// A transaction of the lock table costs some disk syncs, so requests that wait when one begins, or arrive
// while it is open, become part of it: up to kMostAtOnce requests, or for up to kLongestBatch. Each is
// answered as if it were alone, and only after the transaction is on the disk.
class LockQueue {
 public:
  static constexpr std::size_t kMostAtOnce = 64;
  static constexpr std::chrono::milliseconds kLongestBatch{50};

  enum class Kind {
    kLeave,  // done before all others, even without the table: others may wait for its locks
    kEnter,  // done even without the table
    kAsk     // not done if the table is busy for too long
  };

  enum class Outcome {
    kKept,
    kLost,    // done, but the changes are not in the table
    kRefused  // not done
  };

  using Work = std::function<void()>;

  // `folder`: that of the lock table, ending in a backslash; borrowed, as is `stats`.
  LockQueue(asio::thread_pool& engine, const char* folder, QueueStats& stats)
      : engine_(engine), folder_(folder), stats_(stats) {}

  // Executes `work` and waits for the outcome. Rethrows exceptions of `work`, which must be a variable of the
  // caller (see run_on.h).
  asio::awaitable<Outcome> Run(Kind kind, const Work& work);

 private:
  struct Request {
    Kind kind;
    const Work& work;
    asio::any_io_executor executor;
    std::optional<WaitHandler> waiter;
    std::exception_ptr problem;
    Outcome outcome = Outcome::kKept;
    std::optional<QueueTicket> ticket = {};
    std::uint64_t number = 0;
  };

  void Add(Request& request);
  [[nodiscard]] std::uint64_t Added();
  Request* Take(std::uint64_t last);
  void Drain() noexcept;
  void ServeBatch();
  void RefuseAll();
  static void Do(Request& request);
  static void Complete(Request& request, Outcome outcome);

  asio::thread_pool& engine_;
  const char* const folder_;
  QueueStats& stats_;
  std::mutex mutex_;
  std::deque<Request*> leaving_;
  std::deque<Request*> others_;
  std::uint64_t added_ = 0;
  bool draining_ = false;
  // Used on the engine thread only.
  std::unique_ptr<CCtreeFile> table_;
  std::vector<Request*> served_;
};

}  // namespace tvl::server

#endif
