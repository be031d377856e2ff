#ifndef TVL_PLATFORM_POSIX_PART_REPLACER_H
#define TVL_PLATFORM_POSIX_PART_REPLACER_H

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/last_error.h"
#include "platform/transfer_group.h"

namespace tvl {

// Calls ReplaceTarget on threads of its own while the caller copies the next file: on a network share
// closing and renaming wait for the server. Parts of the same target are handled in their order.
class PartReplacer {
 public:
  struct Failure {
    std::size_t index;
    LastError error;
  };

  PartReplacer() = default;
  // Waits until all parts are handled. Must not be called in a forked child, where the threads do not exist.
  ~PartReplacer();
  PartReplacer(const PartReplacer&) = delete;
  PartReplacer& operator=(const PartReplacer&) = delete;

  // Takes ownership of a part, unless it throws std::bad_alloc. Waits while too many are waiting. `index`
  // identifies the part in the result.
  void Add(FinishedPart part, std::size_t index);

  // Waits until all parts are handled. Returns the failures, ordered by their indexes.
  [[nodiscard]] std::vector<Failure> Finish();

 private:
  struct Job {
    FinishedPart part;
    std::size_t index;
  };
  struct Worker {
    std::deque<Job> jobs;  // the first is removed once it is done
    std::condition_variable added;
    std::thread thread;
  };

  void ReserveFailures();
  [[nodiscard]] bool Start(Worker& worker);
  void Work(Worker& worker);
  void Do(const Job& job);
  [[nodiscard]] bool IsIdle() const;

  static constexpr std::size_t kWorkers = 4;
  static constexpr std::size_t kMostJobs = 16;  // of a worker

  std::mutex mutex_;
  std::condition_variable done_;
  std::array<Worker, kWorkers> workers_;
  std::vector<Failure> failures_;
  bool ends_ = false;
};

}  // namespace tvl

#endif
