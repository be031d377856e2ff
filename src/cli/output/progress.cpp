#include "cli/output/progress.h"

#include <algorithm>
#include <initializer_list>

#include "cli/file_status.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr double kLongestLeft = 100 * 3600;  // seconds; more is a guess from too little progress
constexpr std::size_t kLeastName = 12;       // columns for a name, or all of a shorter one

std::string Percent(std::uint64_t done, std::uint64_t total) {
  const std::uint64_t percent =
      total == 0 ? 100
      : done >= total
          ? 100
          : static_cast<std::uint64_t>(100.0 * static_cast<double>(done) / static_cast<double>(total));
  const std::string text = std::to_string(percent);
  return std::string(3 - std::min<std::size_t>(3, text.size()), ' ') + text + "%";
}

// Joins the parts that are not empty, with two blanks in between.
std::string JoinParts(std::initializer_list<std::string> parts) {
  std::string line;
  for (const std::string& part : parts) {
    if (!line.empty() && !part.empty()) line += "  ";
    line += part;
  }
  return line;
}

}  // namespace

Progress::Progress(Console& console, std::uint64_t total_files, std::uint64_t total_bytes)
    : total_files_(total_files),
      total_(total_bytes),
      bar_(console, [this](std::size_t columns) { return Line(columns); }) {}

Progress::Trace Progress::TraceOf(const std::string& path) {
  const auto status = StatusOf(path);
  if (!status) return {};
  return {status->size, status->seconds, status->nanoseconds};
}

void Progress::Begin(const std::string& name, const std::string& target, std::uint64_t size) {
  const Trace before = TraceOf(target);
  const std::lock_guard lock(mutex_);
  name_ = Printable(name);
  target_ = target;
  size_ = size;
  before_ = before;
}

void Progress::End() {
  const std::lock_guard lock(mutex_);
  ++files_;
  done_ += size_;
  size_ = 0;
}

// As long as the target is unchanged, the current file is still being compared or compressed.
std::uint64_t Progress::DoneBytes() const {
  if (size_ == 0) return done_;
  const Trace now = TraceOf(target_);
  return now == before_ ? done_ : done_ + std::min(now.size, size_);
}

// Returns the most detailed line that leaves space for the name.
std::string Progress::Line(std::size_t columns) {
  const std::lock_guard lock(mutex_);
  const std::uint64_t done = DoneBytes();
  const std::string files = std::to_string(files_) + "/" + std::to_string(total_files_);
  const std::string percent = Percent(done, total_);
  std::string rate;
  std::string left;
  if (done > 0) {
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    const double speed = static_cast<double>(done) / seconds;
    rate = HumanBytes(static_cast<std::uint64_t>(speed)) + "/s";
    const double rest = static_cast<double>(total_ - std::min(done, total_)) / speed;
    if (done < total_ && rest < kLongestLeft) left = HumanSeconds(static_cast<std::uint64_t>(rest)) + " left";
  }
  const std::size_t name = std::min(ColumnsOf(name_), kLeastName);
  for (const std::string& line :
       {JoinParts({percent, files + " files", HumanBytes(done) + " of " + HumanBytes(total_), rate, left}),
        JoinParts({percent, files, HumanBytes(done), rate, left}), JoinParts({percent, files, left}),
        JoinParts({percent, files})}) {
    if (ColumnsOf(line) + 2 + name <= columns) return line + "  " + name_;
  }
  return JoinParts({percent, files});
}

}  // namespace tvl::cli
