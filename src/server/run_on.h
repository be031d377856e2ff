#ifndef TVL_SERVER_RUN_ON_H
#define TVL_SERVER_RUN_ON_H

#include <asio/awaitable.hpp>
#include <asio/post.hpp>
#include <asio/this_coro.hpp>
#include <asio/use_awaitable.hpp>
#include <chrono>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

#include "server/work_pool.h"

namespace tvl::server {

// What GCC 12 makes of some coroutines is broken, so in the server's a co_await is a statement or what a
// variable is made of, never part of a condition; and its operands make no temporary that has something to
// destroy.

using WaitHandler = asio::async_result<asio::use_awaitable_t<>, void()>::handler_type;

// Posts `work` to the executor. An exception would end the program, and without the work some coroutine would
// wait for ever, so if memory runs out it is tried again.
template <typename Work>
void PostSurely(const asio::any_io_executor& executor, const Work& work) {
  constexpr std::chrono::milliseconds kPause(10);
  for (;;) {
    try {
      asio::post(executor, work);
      return;
    } catch (const std::bad_alloc&) {
      std::this_thread::sleep_for(kPause);
    }
  }
}

// A piece of work on the pool, begun at once, whose end a coroutine on `executor` waits for later. What the
// work throws, the coroutine gets.
template <typename Result>
class Begun {
 public:
  template <typename Work>
  Begun(WorkPool& pool, const asio::any_io_executor& executor, Work work)
      : state_(std::make_shared<State>()) {
    pool.Post([state = state_, executor, work = std::move(work)]() mutable {
      try {
        state->result = work();
      } catch (...) {
        state->problem = std::current_exception();
      }
      PostSurely(executor, [state] { state->Finish(); });
    });
  }

  asio::awaitable<Result> End() {
    if (!state_->over) {
      co_await asio::async_initiate<const asio::use_awaitable_t<>&, void()>(
          [this](WaitHandler handler) { state_->waiter.emplace(std::move(handler)); }, asio::use_awaitable);
    }
    if (state_->problem) std::rethrow_exception(state_->problem);
    co_return *state_->result;
  }

 private:
  struct State {
    std::optional<Result> result;
    std::exception_ptr problem;
    std::optional<WaitHandler> waiter;  // this and what follows on the executor alone
    bool over = false;

    void Finish() {
      over = true;
      if (!waiter) return;
      WaitHandler handler = std::move(*waiter);
      waiter.reset();
      handler();
    }
  };

  std::shared_ptr<State> state_;
};

// Runs `work` on a thread of the pool. Its result, or what it throws, reaches the coroutine that waits, in
// which what the work refers to stays until then.
template <typename Work, typename Result = std::invoke_result_t<Work&>>
asio::awaitable<Result> RunOn(WorkPool& pool, Work work) {
  static_assert(std::is_trivially_copyable_v<Work>, "capture references only");
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  Begun<Result> begun(pool, executor, work);
  Result result = co_await begun.End();
  co_return result;
}

}  // namespace tvl::server

#endif
