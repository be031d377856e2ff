#include "cli/ticker.h"

#include <utility>

#include "cli/watched_thread.h"

namespace tvl::cli {

Ticker::Ticker(std::chrono::milliseconds pause, std::function<void()> tick)
    : pause_(pause), tick_(std::move(tick)), thread_(StartWithoutSignals([this] { Run(); })) {}

Ticker::~Ticker() {
  {
    const std::lock_guard guard(mutex_);
    ends_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void Ticker::Run() {
  std::unique_lock lock(mutex_);
  while (!wake_.wait_for(lock, pause_, [this] { return ends_; })) {
    lock.unlock();
    tick_();
    lock.lock();
  }
}

}  // namespace tvl::cli
