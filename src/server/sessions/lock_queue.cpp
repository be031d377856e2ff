#include "server/sessions/lock_queue.h"

#include <asio/post.hpp>
#include <asio/this_coro.hpp>
#include <asio/use_awaitable.hpp>
#include <chrono>
#include <limits>
#include <utility>

#include "presence/lock_table.h"

namespace tvl::server {

asio::awaitable<LockQueue::Outcome> LockQueue::Run(Kind kind, const Work& work) {
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  Request request = {kind, work, executor, {}, {}};
  co_await asio::async_initiate<const asio::use_awaitable_t<>&, void()>(
      [this, &request](WaitHandler handler) {
        request.waiter.emplace(std::move(handler));
        Add(request);
      },
      asio::use_awaitable);
  if (request.problem) std::rethrow_exception(request.problem);
  co_return request.outcome;
}

void LockQueue::Add(Request& request) {
  request.ticket.emplace(stats_);
  const std::lock_guard<std::mutex> guard(mutex_);
  request.number = ++added_;
  (request.kind == Kind::kLeave ? leaving_ : others_).push_back(&request);
  if (draining_) return;
  asio::post(engine_, [this] { Drain(); });
  draining_ = true;
}

std::uint64_t LockQueue::Added() {
  const std::lock_guard<std::mutex> guard(mutex_);
  return added_;
}

// Takes a request that is not newer than number `last`. Returns null if there is none.
LockQueue::Request* LockQueue::Take(std::uint64_t last) {
  const std::lock_guard<std::mutex> guard(mutex_);
  for (std::deque<Request*>* queue : {&leaving_, &others_}) {
    if (queue->empty() || queue->front()->number > last) continue;
    Request* const request = queue->front();
    queue->pop_front();
    request->ticket.reset();
    return request;
  }
  return nullptr;
}

void LockQueue::Drain() noexcept {
  for (;;) {
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      draining_ = !leaving_.empty() || !others_.empty();
      if (!draining_) return;
    }
    ServeBatch();
  }
}

void LockQueue::ServeBatch() {
  served_.reserve(kMostAtOnce);
  std::optional<TableBatch> batch;
  const bool begun = BeginLockTableBatch(table_, folder_, batch, TableBatch::Kind::kWrite);
  if (!begun && batch->Problem() == TableProblem::kBusy) {
    RefuseAll();
    return;
  }
  // Without a writable table, each request finds out for itself what it can do.
  const auto end = std::chrono::steady_clock::now() + kLongestBatch;
  while (served_.size() < kMostAtOnce && std::chrono::steady_clock::now() < end) {
    Request* const request = Take(std::numeric_limits<std::uint64_t>::max());
    if (request == nullptr) break;
    Do(*request);
    served_.push_back(request);
  }
  const bool kept = !begun || batch->End();
  for (Request* request : std::exchange(served_, {}))
    Complete(*request, kept ? Outcome::kKept : Outcome::kLost);
}

// After a wait in vain, the other requests in the queue do not wait for the table again. Those that come
// meanwhile do: the table may be free by then.
void LockQueue::RefuseAll() {
  const WithoutLockTable without;
  const std::uint64_t last = Added();
  while (Request* request = Take(last)) {
    const bool is_done = request->kind != Kind::kAsk;
    if (is_done) Do(*request);
    Complete(*request, is_done ? Outcome::kKept : Outcome::kRefused);
  }
}

void LockQueue::Do(Request& request) {
  try {
    request.work();
  } catch (...) {
    request.problem = std::current_exception();
  }
}

void LockQueue::Complete(Request& request, Outcome outcome) {
  request.outcome = outcome;
  PostSurely(request.executor, [&request] {
    WaitHandler handler = std::move(*request.waiter);
    handler();
  });
}

}  // namespace tvl::server
