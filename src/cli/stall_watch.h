#ifndef TVL_CLI_STALL_WATCH_H
#define TVL_CLI_STALL_WATCH_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "cli/ticker.h"
#include "cli/watched_thread.h"

namespace tvl::cli {

// Reports on standard error what the program has been waiting for if that takes more than two seconds, and
// ends a wait that exceeds a limit. This includes waits inside the kernel, as on a mount whose server is
// dead.
//
// It watches the thread that creates it. Activity objects describe what that thread may be waiting for.
class StallWatch {
 public:
  // Called on the thread of the watch with a description of the wait. Must end the process.
  using LimitReached = std::function<void(const std::string& what)>;

  StallWatch(bool quiet, std::optional<std::chrono::seconds> limit, LimitReached limit_reached);
  StallWatch(const StallWatch&) = delete;
  StallWatch& operator=(const StallWatch&) = delete;

 private:
  void Look();

  const bool quiet_;
  const std::optional<std::chrono::seconds> limit_;
  const LimitReached limit_reached_;
  const WatchedThread watched_;
  std::chrono::nanoseconds used_ = {};
  std::string reported_;
  std::optional<Ticker> ticker_;  // last: it uses all of the above
};

// Describes what the thread does as long as the object exists. The innermost object counts.
class Activity {
 public:
  enum class Kind {
    kNothing,  // nothing that could stall
    kWork,     // work that is stalled if it uses no processor time
    kWait      // a wait for all of its duration
  };

  Activity(Kind kind, std::string what);
  ~Activity();
  Activity(const Activity&) = delete;
  Activity& operator=(const Activity&) = delete;

 private:
  struct State;
  friend class StallWatch;
  static State& Current();

  Kind outer_kind_;
  std::string outer_what_;
};

// The thread works with `what` and stalls if that does not answer.
class WorksWith : public Activity {
 public:
  explicit WorksWith(std::string what) : Activity(Kind::kWork, std::move(what)) {}
};

// The thread waits for an answer of `what`.
class WaitsFor : public Activity {
 public:
  explicit WaitsFor(std::string what) : Activity(Kind::kWait, std::move(what)) {}
};

// The thread waits for something that may take any time, such as a user, a reader or a command.
class WaitsElsewhere : public Activity {
 public:
  WaitsElsewhere() : Activity(Kind::kNothing, {}) {}
};

}  // namespace tvl::cli

#endif
