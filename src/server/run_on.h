#ifndef TVL_SERVER_RUN_ON_H
#define TVL_SERVER_RUN_ON_H

#include <asio/associated_executor.hpp>
#include <asio/awaitable.hpp>
#include <asio/post.hpp>
#include <asio/thread_pool.hpp>
#include <asio/use_awaitable.hpp>
#include <exception>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace tvl::server {

// What GCC 12 makes of some coroutines is broken, so in the server's a co_await is a statement or what a
// variable is made of, never part of a condition; and its operands make no temporary that has something to
// destroy.

// Runs `work` on a thread of the pool and gives its result, or what it throws, to the coroutine that waits,
// in which what the work refers to stays until then.
template <typename Work, typename Result = std::invoke_result_t<Work&>>
asio::awaitable<Result> RunOn(asio::thread_pool& pool, Work work) {
  static_assert(std::is_trivially_copyable_v<Work>, "capture references only");
  return asio::async_initiate<const asio::use_awaitable_t<>&, void(std::exception_ptr, Result)>(
      [&pool](auto handler, Work job) {
        asio::post(pool, [handler = std::move(handler), job = std::move(job)]() mutable {
          std::exception_ptr problem;
          Result result = {};
          try {
            result = job();
          } catch (...) {
            problem = std::current_exception();
          }
          const auto executor = asio::get_associated_executor(handler);
          asio::post(executor,
                     [handler = std::move(handler), problem, result]() mutable { handler(problem, result); });
        });
      },
      asio::use_awaitable, std::move(work));
}

// A piece of work on the pool, begun at once, whose end a coroutine on `executor` waits for later.
template <typename Result>
class Begun {
 public:
  template <typename Work>
  Begun(asio::thread_pool& pool, const asio::any_io_executor& executor, Work work)
      : state_(std::make_shared<State>()) {
    asio::post(pool, [state = state_, executor, work = std::move(work)]() mutable {
      const Result result = work();
      asio::post(executor, [state = std::move(state), result] { state->Finish(result); });
    });
  }

  asio::awaitable<Result> End() {
    if (!state_->result) {
      co_await asio::async_initiate<const asio::use_awaitable_t<>&, void()>(
          [this](Handler handler) { state_->waiter.emplace(std::move(handler)); }, asio::use_awaitable);
    }
    co_return *state_->result;
  }

 private:
  using Handler = typename asio::async_result<asio::use_awaitable_t<>, void()>::handler_type;

  struct State {
    std::optional<Result> result;
    std::optional<Handler> waiter;

    void Finish(Result value) {
      result = value;
      if (!waiter) return;
      Handler handler = std::move(*waiter);
      waiter.reset();
      handler();
    }
  };

  std::shared_ptr<State> state_;
};

}  // namespace tvl::server

#endif
