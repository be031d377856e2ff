#ifndef TVL_CLI_TICKER_H
#define TVL_CLI_TICKER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace tvl::cli {

// Calls a function again and again, with a pause before each call, on a thread that handles no signals. The
// destructor ends the pause and waits for the thread.
//
// Waits with a flag instead of a stop token: with the run-time library of mingw-w64, a stop that meets the
// end of such a wait blocks both threads forever.
class Ticker {
 public:
  Ticker(std::chrono::milliseconds pause, std::function<void()> tick);
  ~Ticker();
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

 private:
  void Run();

  const std::chrono::milliseconds pause_;
  const std::function<void()> tick_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool ends_ = false;
  std::thread thread_;  // last: it uses all of the above
};

}  // namespace tvl::cli

#endif
