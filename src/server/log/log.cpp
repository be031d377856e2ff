#include "server/log/log.h"

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

#include "host/descriptor.h"
#include "host/system_calls.h"
#include "host/write_all.h"

namespace tvl::server {
namespace {

constexpr std::chrono::seconds kLastWords(1);

// How long a first line waits for others, so that a busy server does not wake the thread for every line.
constexpr std::chrono::milliseconds kGather(5);
constexpr mode_t kLogMode = 0640;

struct Entry {
  LogTime time;
  Event event;
};

// Writes the complete line, in one call if the system accepts it, so that lines of several processes in one
// file are not mixed.
void WriteLine(int file, std::string_view line) {
  static_cast<void>(WriteAll(file, line.data(), line.size()));
}

Descriptor OpenLog(const std::string& path) {
  return Descriptor(
      System().open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, kLogMode));
}

}  // namespace

struct Log::State {
  explicit State(const LogOptions& given) : options(given) {}
  void Run();
  void WaitForLines(std::unique_lock<std::mutex>& lock);
  [[nodiscard]] std::optional<Entry> Next();
  void WriteEntry(const Entry& entry);
  [[nodiscard]] std::string Line(const Entry& entry) const {
    return options.json ? JsonLine(entry.time, entry.event) : TextLine(entry.time, entry.event);
  }

  const LogOptions options;
  std::mutex mutex;
  std::condition_variable filled;    // no longer idle
  std::condition_variable gathered;  // no longer worth waiting for more
  std::condition_variable ended;
  std::deque<Entry> queue;
  std::uint64_t dropped = 0;  // and not reported yet
  std::uint64_t dropped_in_all = 0;
  Descriptor file;        // not open where the log goes to standard error
  Descriptor fresh_file;  // replaces `file` before the next line
  bool idle = false;      // the thread waits for a first line
  bool stopping = false;
  bool stopped = false;
};

void Log::State::WaitForLines(std::unique_lock<std::mutex>& lock) {
  idle = true;
  filled.wait(lock, [this] { return !queue.empty() || dropped > 0 || stopping; });
  idle = false;
  gathered.wait_for(lock, kGather, [this] { return queue.size() > kLongestQueue / 2 || stopping; });
}

// Returns the next entry, preceded by one that reports dropped entries; nothing at the end.
std::optional<Entry> Log::State::Next() {
  std::unique_lock<std::mutex> lock(mutex);
  if (queue.empty() && !stopping) WaitForLines(lock);
  if (fresh_file.IsOpen()) {
    file = std::move(fresh_file);
    fresh_file = {};
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
  WriteLine(file.IsOpen() ? file.Get() : STDERR_FILENO, Line(entry));
} catch (const std::bad_alloc&) {
}

void Log::State::Run() {
  while (std::optional<Entry> entry = Next()) WriteEntry(*entry);
}

Log::Log(const LogOptions& options) : state_(std::make_shared<State>(options)) {
  if (!options.file.empty()) {
    state_->file = OpenLog(options.file);
    if (!state_->file.IsOpen())
      throw std::system_error(errno, std::generic_category(), "log " + options.file);
  }
  std::thread([state = state_] { state->Run(); }).detach();
}

Log::~Log() {
  std::unique_lock<std::mutex> lock(state_->mutex);
  state_->stopping = true;
  state_->filled.notify_all();
  state_->gathered.notify_all();
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
  if (std::exchange(state_->idle, false)) state_->filled.notify_one();
  if (state_->queue.size() == kLongestQueue / 2 + 1) state_->gathered.notify_one();
} catch (const std::bad_alloc&) {
}

std::uint64_t Log::Dropped() const {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->dropped_in_all;
}

std::string Log::Reopen() {
  if (state_->options.file.empty()) return {};
  Descriptor fresh = OpenLog(state_->options.file);
  if (!fresh.IsOpen()) return std::system_category().message(errno);
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->fresh_file = std::move(fresh);
  state_->filled.notify_one();
  return {};
}

}  // namespace tvl::server
