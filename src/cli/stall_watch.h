#ifndef TVL_CLI_STALL_WATCH_H
#define TVL_CLI_STALL_WATCH_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace tvl::cli {

// Reports on standard error what the program has been waiting for for two seconds, and ends a wait that
// exceeds a limit, also one inside the kernel, as on a mount whose server is dead.
//
// It watches the thread that creates it, as far as the objects below say what that thread may be waiting for.
class StallWatch {
 public:
  // Called on a thread of the watch with what was waited for; must end the process.
  using LimitReached = std::function<void(const std::string& what)>;

  StallWatch(bool quiet, std::optional<std::chrono::seconds> limit, LimitReached limit_reached);
  ~StallWatch();
  StallWatch(const StallWatch&) = delete;
  StallWatch& operator=(const StallWatch&) = delete;

 private:
  void Watch(const std::stop_token& stop);

  const bool quiet_;
  const std::optional<std::chrono::seconds> limit_;
  const LimitReached limit_reached_;
  const pthread_t watched_;
  std::jthread thread_;  // last: it uses all of the above
};

// What the thread is doing while one of these lives; the innermost counts.
class Activity {
 public:
  enum class Kind {
    kNothing,  // that could stall
    kWork,     // a wait where no processor time is used
    kWait      // a wait from beginning to end
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

// Works with `what`, which stalls the thread if it does not answer.
class WorksWith : public Activity {
 public:
  explicit WorksWith(std::string what) : Activity(Kind::kWork, std::move(what)) {}
};

// Waits for the answer of `what`.
class WaitsFor : public Activity {
 public:
  explicit WaitsFor(std::string what) : Activity(Kind::kWait, std::move(what)) {}
};

// Waits for something that may take any time: a user, a reader, a command.
class WaitsElsewhere : public Activity {
 public:
  WaitsElsewhere() : Activity(Kind::kNothing, {}) {}
};

}  // namespace tvl::cli

#endif
