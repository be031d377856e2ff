#ifndef TVL_SERVER_LOG_H
#define TVL_SERVER_LOG_H

#include <chrono>
#include <memory>
#include <string>

#include "server/log_line.h"

namespace tvl::server {

// How the log is written.
struct LogOptions {
  std::string file;  // empty: standard error
  bool json = false;
  Level level = Level::kInfo;  // the least important one that is written
};

// Writes events to standard error or to a file, a line each, on a thread of its own.
//
// Whoever reads the log may stop reading: nobody waits for it then. A queue holds up to kLongestQueue events;
// what does not fit is dropped, and the next line that is written reports how many. Any thread may use it.
class Log {
 public:
  static constexpr std::size_t kLongestQueue = 8192;

  // Throws std::system_error if the file cannot be opened.
  explicit Log(const LogOptions& options);

  // Waits a second at most for what is queued to be written.
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  void Write(Event event);

  // Opens the file again under its name, after a rotation has renamed it. Where that fails, the old one
  // stays in use and the reason is returned; empty on success.
  [[nodiscard]] std::string Reopen();

 private:
  struct State;
  std::shared_ptr<State> state_;  // shared with the thread, which may outlive this object when it is stuck
};

// Measures from its construction on.
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
