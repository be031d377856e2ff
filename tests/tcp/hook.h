#ifndef TVL_TESTS_TCP_HOOK_H
#define TVL_TESTS_TCP_HOOK_H

#include <chrono>
#include <functional>
#include <semaphore>
#include <utility>

#include "base/pump.h"

// Calls a function in every pump of this thread, as long as it lives.
class Hook {
 public:
  explicit Hook(std::function<void()> function) : function_(std::move(function)) {
    tvl::SetPumpHook([](void* self) { static_cast<Hook*>(self)->function_(); }, this);
  }
  ~Hook() { tvl::SetPumpHook(nullptr, nullptr); }
  Hook(const Hook&) = delete;
  Hook& operator=(const Hook&) = delete;

 private:
  std::function<void()> function_;
};

// One thread gives it, as often as it likes, and another waits for it once.
class Sign {
 public:
  void Give() {
    if (!std::exchange(given_, true)) semaphore_.release();
  }
  [[nodiscard]] bool IsGiven() const { return given_; }

  // False if it doesn't come.
  [[nodiscard]] bool Await() { return semaphore_.try_acquire_for(std::chrono::seconds(20)); }

 private:
  bool given_ = false;
  std::binary_semaphore semaphore_{0};
};

#endif
