#ifndef TVL_CLI_OUTPUT_PROGRESS_H
#define TVL_CLI_OUTPUT_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "cli/output/bar.h"
#include "cli/output/console.h"

namespace tvl::cli {

// The progress bar of a long transfer: percentage, files, bytes, rate, time left and the current file; on a
// narrow terminal only as much of it as fits.
//
// The library does not report progress within a file, so the bar derives the progress of the current file
// from the size of its target.
class Progress {
 public:
  Progress(Console& console, std::uint64_t total_files, std::uint64_t total_bytes);

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

  std::string Line(std::size_t columns);
  std::uint64_t DoneBytes() const;

  const std::uint64_t total_files_;
  const std::uint64_t total_;
  const Clock::time_point start_ = Clock::now();
  std::mutex mutex_;
  std::uint64_t files_ = 0;
  std::uint64_t done_ = 0;
  std::string name_;
  std::string target_;
  std::uint64_t size_ = 0;
  Trace before_;
  Bar bar_;  // last: its thread uses all of the above
};

}  // namespace tvl::cli

#endif
