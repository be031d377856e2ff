#include "cli/locks/lock_watch.h"

#include <utility>

namespace tvl::cli {
namespace {

// Less than a second, so that a loss is noticed within a second.
constexpr std::chrono::milliseconds kBetweenQuestions{900};
constexpr std::chrono::seconds kLongestQuestion{10};

std::string WhyLost(Store& store) {
  if (store.Directory() == nullptr) return "the connection to the server has ended";
  if (!store.IsPresent()) return "this client's presence marker was removed";
  return "another client took it, or the lock table cannot be used";
}

}  // namespace

LockWatch::LockWatch(Store& store, const std::string& object) : store_(store), object_(object) {}

LockWatch::~LockWatch() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard guard(mutex_);
    ends_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void LockWatch::Start(std::function<void()> loss) {
  loss_ = std::move(loss);
  if (store_.Directory() != nullptr) thread_ = std::thread([this] { Watch(); });
}

std::optional<int> LockWatch::Connection() const {
  if (store_.Directory() != nullptr) return std::nullopt;
  return store_.Server()->Descriptor();
}

bool LockWatch::WasLost() const {
  const std::lock_guard guard(mutex_);
  return lost_;
}

bool LockWatch::IsLost() {
  const std::lock_guard guard(mutex_);
  if (lost_) return true;
  if (IsOverdue()) Lose("the store has not answered for 10 s");
  if (store_.Directory() == nullptr && !store_.HoldsLock(object_)) Lose(WhyLost(store_));
  return lost_;
}

std::string LockWatch::Reason() const {
  const std::lock_guard guard(mutex_);
  return reason_;
}

bool LockWatch::Finish() {
  if (!thread_.joinable()) return true;
  std::unique_lock lock(mutex_);
  last_ = true;
  wake_.notify_all();
  const auto end = Clock::now() + kLongestQuestion;
  while (!done_) {
    if (wake_.wait_until(lock, end) == std::cv_status::no_timeout) continue;
    if (!lost_) Lose("the store has not answered for 10 s");
    return false;
  }
  return true;
}

void LockWatch::Watch() {
  std::unique_lock lock(mutex_);
  bool held = true;
  for (auto next = Clock::now(); held && !done_;) {
    next += kBetweenQuestions;
    wake_.wait_until(lock, next, [this] { return last_ || ends_; });
    if (ends_) break;
    done_ = last_;
    held = Ask(lock);
  }
  done_ = true;
  wake_.notify_all();
}

// Releases the mutex while it asks the store, so that a mount that does not answer cannot block the other
// thread.
bool LockWatch::Ask(std::unique_lock<std::mutex>& lock) {
  asking_ = true;
  asked_ = Clock::now();
  lock.unlock();
  const bool held = store_.HoldsLock(object_);
  const std::string reason = held ? std::string() : WhyLost(store_);
  lock.lock();
  asking_ = false;
  if (!held && !lost_) Lose(reason);
  return held;
}

void LockWatch::Lose(const std::string& reason) {
  lost_ = true;
  reason_ = reason;
  if (loss_) loss_();
}

bool LockWatch::IsOverdue() const {
  return asking_ && Clock::now() - asked_ >= kLongestQuestion;
}

}  // namespace tvl::cli
