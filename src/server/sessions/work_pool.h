#ifndef TVL_SERVER_SESSIONS_WORK_POOL_H
#define TVL_SERVER_SESSIONS_WORK_POOL_H

#include <asio/post.hpp>
#include <asio/thread_pool.hpp>
#include <cstddef>
#include <utility>

#include "server/metrics/queue_ticket.h"

namespace tvl::server {

// Threads that take pieces of work in turn.
class WorkPool {
 public:
  // `stats` gets how many pieces wait, and how long; borrowed.
  WorkPool(std::size_t threads, QueueStats& stats) : stats_(stats), pool_(threads) {}

  // Has `work` done, which must not throw. Throws std::bad_alloc.
  template <typename Work>
  void Post(Work work) {
    asio::post(pool_, [ticket = QueueTicket(stats_), work = std::move(work)]() mutable {
      ticket.End();
      work();
    });
  }

  // Waits until all work is done.
  void Join() { pool_.join(); }

 private:
  QueueStats& stats_;
  asio::thread_pool pool_;
};

}  // namespace tvl::server

#endif
