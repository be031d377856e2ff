#ifndef TVL_SERVER_SESSIONS_RUN_ON_H
#define TVL_SERVER_SESSIONS_RUN_ON_H

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

#include "server/sessions/work_pool.h"

namespace tvl::server {

// GCC 12 miscompiles some coroutines. So in the coroutines of the server, a co_await is a statement or the
// initializer of a variable, never part of a condition, and its operands create no temporaries with
// destructors.

using WaitHandler = asio::async_result<asio::use_awaitable_t<>, void()>::handler_type;

// Posts `work` to the executor. An exception would end the program, and without the work some coroutine would
// wait forever, so it tries again if memory runs out.
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

// Work that starts on the pool at once, and for whose end a coroutine on `executor` waits later. The
// coroutine gets exceptions of the work.
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
    std::optional<WaitHandler> waiter;  // this and the following members are used on the executor only
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

// Runs `work` on a thread of the pool and returns its result, or rethrows its exception. The waiting
// coroutine must keep everything that the work refers to.
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
