#include "cli/output/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "cli/file_status.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr std::size_t kUsualColumns = 80;

std::size_t TerminalColumns() {
  winsize size = {};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualColumns;
  return size.ws_col;
}

std::string Percent(std::uint64_t done, std::uint64_t total) {
  const std::uint64_t percent =
      total == 0 ? 100
      : done >= total
          ? 100
          : static_cast<std::uint64_t>(100.0 * static_cast<double>(done) / static_cast<double>(total));
  const std::string text = std::to_string(percent);
  return std::string(3 - std::min<std::size_t>(3, text.size()), ' ') + text + "%";
}

}  // namespace

bool HasTerminal() {
  return isatty(STDERR_FILENO) == 1;
}

Progress::Progress(Console& console, std::uint64_t total_bytes)
    : console_(console), total_(total_bytes), thread_([this](const std::stop_token& stop) { Draw(stop); }) {}

Progress::~Progress() {
  thread_.request_stop();
  thread_.join();
  console_.HideBar();
}

Progress::Trace Progress::TraceOf(const std::string& path) {
  const auto status = StatusOf(path);
  if (!status) return {};
  return {static_cast<std::uint64_t>(status->st_size), status->st_mtim.tv_sec, status->st_mtim.tv_nsec};
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
  done_ += size_;
  size_ = 0;
}

// As long as the target is unchanged, the current file is still being compared or compressed.
std::uint64_t Progress::DoneBytes() const {
  if (size_ == 0) return done_;
  const Trace now = TraceOf(target_);
  return now == before_ ? done_ : done_ + std::min(now.size, size_);
}

std::string Progress::Line(std::uint64_t done) const {
  if (done == 0) return "preparing  " + name_;  // still comparing or compressing
  const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
  const double rate = static_cast<double>(done) / seconds;
  std::string line = Percent(done, total_) + "  " + HumanBytes(done) + " of " + HumanBytes(total_) + "  " +
                     HumanBytes(static_cast<std::uint64_t>(rate)) + "/s";
  const double left = static_cast<double>(total_ - std::min(done, total_)) / rate;
  if (done < total_) line += "  " + HumanSeconds(static_cast<std::uint64_t>(left)) + " left";
  return line + "  " + name_;
}

void Progress::Draw(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  while (!stop.stop_requested()) {
    wake_.wait_for(lock, stop, kInterval, [] { return false; });
    if (stop.stop_requested()) return;
    // Leaves the last column free, because terminals wrap when it is written.
    console_.ShowBar(CutToColumns(Line(DoneBytes()), TerminalColumns() - 1));
  }
}

}  // namespace tvl::cli
