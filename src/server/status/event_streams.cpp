#include "server/status/event_streams.h"

namespace tvl::server {

std::shared_ptr<void> EventStreams::Take() {
  const std::lock_guard<std::mutex> guard(mutex_);
  if (open_ == kMost || stopping_) return nullptr;
  ++open_;
  return {this, [](EventStreams* streams) { streams->Release(); }};
}

void EventStreams::Release() {
  const std::lock_guard<std::mutex> guard(mutex_);
  --open_;
}

std::size_t EventStreams::Open() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return open_;
}

bool EventStreams::AwaitNext() {
  std::unique_lock<std::mutex> lock(mutex_);
  return !stopped_.wait_for(lock, kPeriod, [this] { return stopping_; });
}

void EventStreams::Stop() {
  const std::lock_guard<std::mutex> guard(mutex_);
  stopping_ = true;
  stopped_.notify_all();
}

}  // namespace tvl::server
