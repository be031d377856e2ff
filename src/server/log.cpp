#include "server/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace tvl::server {
namespace {

constexpr std::chrono::seconds kLastWords(1);
constexpr mode_t kLogMode = 0640;

struct Entry {
  LogTime time;
  Event event;
};

// Writes the complete line, in one call if the system accepts it, so that lines of several processes in one
// file are not mixed.
void WriteLine(int file, std::string_view line) {
  while (!line.empty()) {
    const ssize_t written = write(file, line.data(), line.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    line.remove_prefix(static_cast<std::size_t>(written));
  }
}

int OpenLog(const std::string& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, kLogMode);
}

}  // namespace

struct Log::State {
  explicit State(const LogOptions& given) : options(given) {}
  ~State() {
    if (file != STDERR_FILENO) close(file);
  }

  void Run();
  [[nodiscard]] std::optional<Entry> Next();
  void WriteEntry(const Entry& entry);
  [[nodiscard]] std::string Line(const Entry& entry) const {
    return options.json ? JsonLine(entry.time, entry.event) : TextLine(entry.time, entry.event);
  }

  const LogOptions options;
  std::mutex mutex;
  std::condition_variable filled;
  std::condition_variable ended;
  std::deque<Entry> queue;
  std::uint64_t dropped = 0;  // and not reported yet
  std::uint64_t dropped_in_all = 0;
  int file = STDERR_FILENO;
  int fresh_file = -1;  // replaces `file` before the next line
  bool stopping = false;
  bool stopped = false;
};

// Returns the next entry, preceded by one that reports dropped entries; nothing at the end.
std::optional<Entry> Log::State::Next() {
  std::unique_lock<std::mutex> lock(mutex);
  filled.wait(lock, [this] { return !queue.empty() || dropped > 0 || stopping; });
  if (const int fresh = std::exchange(fresh_file, -1); fresh >= 0) {
    if (file != STDERR_FILENO) close(file);
    file = fresh;
  }
  // Not while the queue is nearly full, or every other line of a flood would be a report.
  if (dropped > 0 && queue.size() <= kLongestQueue / 2) {
    const std::uint64_t lost = std::exchange(dropped, 0);
    return Entry{std::chrono::system_clock::now(),
                 {.what = "log", .level = Level::kWarning, .left_out = lost, .note = "lines were dropped"}};
  }
  if (queue.empty()) {
    stopped = true;
    ended.notify_all();
    return std::nullopt;
  }
  Entry entry = std::move(queue.front());
  queue.pop_front();
  return entry;
}

// If memory runs out, the line is lost, but the server continues.
void Log::State::WriteEntry(const Entry& entry) try {
  WriteLine(file, Line(entry));
} catch (const std::bad_alloc&) {
}

void Log::State::Run() {
  while (std::optional<Entry> entry = Next()) WriteEntry(*entry);
}

Log::Log(const LogOptions& options) : state_(std::make_shared<State>(options)) {
  if (!options.file.empty()) {
    const int file = OpenLog(options.file);
    if (file < 0) throw std::system_error(errno, std::generic_category(), "log " + options.file);
    state_->file = file;
  }
  std::thread([state = state_] { state->Run(); }).detach();
}

Log::~Log() {
  std::unique_lock<std::mutex> lock(state_->mutex);
  state_->stopping = true;
  state_->filled.notify_all();
  state_->ended.wait_for(lock, kLastWords, [this] { return state_->stopped; });
}

void Log::Write(Event event) try {
  if (event.level > state_->options.level) return;
  const std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->queue.size() >= kLongestQueue) {
    ++state_->dropped;
    ++state_->dropped_in_all;
    return;
  }
  state_->queue.push_back({std::chrono::system_clock::now(), std::move(event)});
  state_->filled.notify_one();
} catch (const std::bad_alloc&) {
}

std::uint64_t Log::Dropped() const {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->dropped_in_all;
}

std::string Log::Reopen() {
  if (state_->options.file.empty()) return {};
  const int fresh = OpenLog(state_->options.file);
  if (fresh < 0) return std::system_category().message(errno);
  const std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->fresh_file >= 0) close(state_->fresh_file);
  state_->fresh_file = fresh;
  state_->filled.notify_one();
  return {};
}

}  // namespace tvl::server
