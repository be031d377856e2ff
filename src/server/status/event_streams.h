#ifndef TVL_SERVER_STATUS_EVENT_STREAMS_H
#define TVL_SERVER_STATUS_EVENT_STREAMS_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

namespace tvl::server {

// The streams of events that are open, and what they wait for. Any thread may use it.
class EventStreams {
 public:
  static constexpr std::size_t kMost = 16;
  static constexpr std::chrono::milliseconds kPeriod{1000};

  // A place for one more stream, taken as long as the pointer or a copy exists; null if there is none. Must
  // not outlive this object.
  [[nodiscard]] std::shared_ptr<void> Take();

  [[nodiscard]] std::size_t Open() const;

  // Waits for the time of the next event. False if there will be none.
  [[nodiscard]] bool AwaitNext();

  // Ends all waits.
  void Stop();

 private:
  void Release();

  mutable std::mutex mutex_;
  std::condition_variable stopped_;
  std::size_t open_ = 0;
  bool stopping_ = false;
};

}  // namespace tvl::server

#endif
