#include "cli/stall_watch.h"

#include <mutex>
#include <utility>

#include "cli/output/terminal.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenLooks{100};
constexpr std::chrono::seconds kBeforeNotice{2};

// Uses no stream, because the blocked thread may hold the lock of a stdio stream.
void WriteNotice(const std::string& what) {
  std::string text = "tvl: waiting for " + Printable(what) + "\n";
  if (IsTerminal(Stream::kErrors)) text.insert(0, "\r\x1b[K");
  WriteErrors(text);
}

}  // namespace

struct Activity::State {
  std::mutex mutex;
  Kind kind = Kind::kNothing;
  std::string what;
  Clock::time_point since = Clock::now();  // when this activity began, or the thread last made progress
};

// Never destroyed, because the watch may still read it while the process exits.
Activity::State& Activity::Current() {
  static State& state = *new State;
  return state;
}

Activity::Activity(Kind kind, std::string what) {
  State& state = Current();
  const std::lock_guard guard(state.mutex);
  outer_kind_ = std::exchange(state.kind, kind);
  outer_what_ = std::exchange(state.what, std::move(what));
  state.since = Clock::now();
}

Activity::~Activity() {
  State& state = Current();
  const std::lock_guard guard(state.mutex);
  state.kind = outer_kind_;
  state.what = std::move(outer_what_);
  state.since = Clock::now();
}

StallWatch::StallWatch(bool quiet, std::optional<std::chrono::seconds> limit, LimitReached limit_reached)
    : quiet_(quiet), limit_(limit), limit_reached_(std::move(limit_reached)) {
  ticker_.emplace(kBetweenLooks, [this] { Look(); });
}

void StallWatch::Look() {
  Activity::State& state = Activity::Current();
  std::unique_lock guard(state.mutex);
  const std::chrono::nanoseconds used_before = std::exchange(used_, watched_.TimeUsed());
  if (state.kind == Activity::Kind::kWork && used_ != used_before) state.since = Clock::now();
  if (state.kind == Activity::Kind::kNothing) return;
  const auto silence = Clock::now() - state.since;
  if (silence >= kBeforeNotice && !quiet_ && reported_ != state.what) {
    reported_ = state.what;
    WriteNotice(state.what);
  }
  if (!limit_ || silence < *limit_) return;
  const std::string what = state.what;
  guard.unlock();  // printing is an activity too
  limit_reached_(what);
}

}  // namespace tvl::cli
