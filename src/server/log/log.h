#ifndef TVL_SERVER_LOG_LOG_H
#define TVL_SERVER_LOG_LOG_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "server/log/log_line.h"

namespace tvl::server {

// How the log is written.
struct LogOptions {
  std::string file;  // empty for standard error
  bool json = false;
  Level level = Level::kInfo;  // the lowest level that is written
};

// Writes events to standard error or to a file, one line each, on a separate thread.
//
// Nobody waits if the reader of the log stops reading. A queue holds up to kLongestQueue events; further
// events are dropped, and the next line that is written reports how many. Any thread may use it.
class Log {
 public:
  static constexpr std::size_t kLongestQueue = 8192;

  // Throws std::system_error if the file cannot be opened.
  explicit Log(const LogOptions& options);

  // Waits for at most a second until the queue is written.
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  void Write(Event event);

  // Opens the file again by its name, after a rotation has renamed it. On failure continues with the old file
  // and returns the reason; returns an empty text on success.
  [[nodiscard]] std::string Reopen();

  // How many events were dropped since the start.
  [[nodiscard]] std::uint64_t Dropped() const;

 private:
  struct State;
  std::shared_ptr<State> state_;  // shared with the thread, which may outlive this object if it is blocked
};

// Measures the time since its construction.
class Stopwatch {
 public:
  [[nodiscard]] std::chrono::microseconds Elapsed() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - began_);
  }

 private:
  std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

}  // namespace tvl::server

#endif
