#ifndef TVL_SERVER_STATUS_CONNECTION_QUEUE_H
#define TVL_SERVER_STATUS_CONNECTION_QUEUE_H

#include <httplib.h>

#include <cstddef>
#include <functional>
#include <semaphore>
#include <utility>

namespace tvl::server {

// Serves connections of the status pages on a fixed number of threads. Once `waiting` of them wait for one,
// the next is not accepted before there is space, so no flood of them takes the descriptors that clients
// need.
class ConnectionQueue : public httplib::TaskQueue {
 public:
  ConnectionQueue(std::size_t threads, std::size_t waiting)
      : places_(static_cast<std::ptrdiff_t>(threads + waiting)), pool_(threads) {}

  // Releases of the library differ in what this returns.
  using Enqueued = decltype(std::declval<httplib::TaskQueue&>().enqueue({}));

  Enqueued enqueue(std::function<void()> work) override {
    places_.acquire();
    pool_.enqueue([this, work = std::move(work)] {
      work();
      places_.release();
    });
    return static_cast<Enqueued>(true);
  }

  void shutdown() override { pool_.shutdown(); }

 private:
  std::counting_semaphore<> places_;
  httplib::ThreadPool pool_;
};

}  // namespace tvl::server

#endif
