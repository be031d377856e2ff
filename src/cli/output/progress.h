#ifndef TVL_CLI_OUTPUT_PROGRESS_H
#define TVL_CLI_OUTPUT_PROGRESS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "cli/output/console.h"

namespace tvl::cli {

// The progress bar of a long transfer: percentage, bytes, rate, time left and the current file.
//
// The library does not report progress within a file, so a separate thread draws the bar and derives the
// progress of the current file from the size of its target.
class Progress {
 public:
  Progress(Console& console, std::uint64_t total_bytes);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Begin(const std::string& name, const std::string& target, std::uint64_t size);
  void End();

 private:
  using Clock = std::chrono::steady_clock;

  // Size and time of a file, to detect whether it was changed.
  struct Trace {
    std::uint64_t size = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    bool operator==(const Trace&) const = default;
  };
  static Trace TraceOf(const std::string& path);

  void Draw(const std::stop_token& stop);
  std::uint64_t DoneBytes() const;
  std::string Line(std::uint64_t done) const;

  Console& console_;
  const std::uint64_t total_;
  const Clock::time_point start_ = Clock::now();
  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::uint64_t done_ = 0;
  std::string name_;
  std::string target_;
  std::uint64_t size_ = 0;
  Trace before_;
  std::jthread thread_;  // last: it uses all of the above
};

// Returns true if standard error is a terminal, so that a bar is visible.
[[nodiscard]] bool HasTerminal();

}  // namespace tvl::cli

#endif
