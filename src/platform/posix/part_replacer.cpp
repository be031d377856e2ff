#include "platform/posix/part_replacer.h"

#include <signal.h>

#include <algorithm>
#include <functional>
#include <string>
#include <system_error>
#include <utility>

#include "host/file_lock.h"
#include "host/system_calls.h"
#include "platform/held_file.h"
#include "platform/posix/descriptor_of.h"
#include "platform/posix/replace_file.h"
#include "platform/posix/set_times.h"

namespace tvl {
namespace {

// Keeps the signals of the application away from a thread that is started meanwhile.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

// Closes a part in either case. Returns 0 or an errno value.
int Complete(const FinishedPart& part) {
  ReleaseFile(part.file);
  CloseWithoutDelay(DescriptorOf(part.file));
  if (CloseHandle(part.file) == 0) return LastErrorCode();
  return part.times ? SetTimesAt(part.path.c_str(), *part.times) : 0;
}

Target KnownTarget(const FinishedPart& part) {
  if (part.target_exists) return Target::kExists;
  return part.target_examined ? Target::kMissing : Target::kUnknown;
}

}  // namespace

bool ReplaceTarget(const FinishedPart& part) {
  const int problem = Complete(part);
  if (problem == 0)
    return ReplaceFile(part.path.c_str(), part.target.c_str(), KnownTarget(part)) == Replacement::kDone;
  NoteError(part.target.c_str(), problem);
  System().unlink(part.path.c_str());
  return false;
}

PartReplacer::~PartReplacer() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  for (Worker& worker : workers_) {
    worker.added.notify_one();
    if (worker.thread.joinable()) worker.thread.join();
  }
}

void PartReplacer::Add(FinishedPart part, std::size_t index) {
  Worker& worker = workers_[std::hash<std::string>()(part.target) % kWorkers];
  std::unique_lock lock(mutex_);
  ReserveFailures();
  done_.wait(lock, [&] { return worker.jobs.size() < kMostJobs; });
  worker.jobs.push_back({std::move(part), index});
  if (Start(worker)) {
    worker.added.notify_one();
    return;
  }
  lock.unlock();
  Do(worker.jobs.front());
  lock.lock();
  worker.jobs.pop_front();
}

// A worker must not run out of memory.
void PartReplacer::ReserveFailures() {
  constexpr std::size_t most = kWorkers * kMostJobs;
  if (failures_.capacity() < failures_.size() + most) failures_.reserve(2 * (failures_.size() + most));
}

// Returns false if the system has no thread left; then the caller does the work.
bool PartReplacer::Start(Worker& worker) {
  if (worker.thread.joinable()) return true;
  const SignalsBlocked blocked;
  try {
    worker.thread = std::thread([this, &worker] { Work(worker); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void PartReplacer::Work(Worker& worker) {
  std::unique_lock lock(mutex_);
  for (;;) {
    worker.added.wait(lock, [&] { return ends_ || !worker.jobs.empty(); });
    if (worker.jobs.empty()) return;
    const Job& job = worker.jobs.front();
    lock.unlock();
    Do(job);
    lock.lock();
    worker.jobs.pop_front();
    done_.notify_all();
  }
}

void PartReplacer::Do(const Job& job) {
  if (ReplaceTarget(job.part)) return;
  const LastError error = TakeLastError();
  const std::lock_guard lock(mutex_);
  failures_.push_back({job.index, error});
}

bool PartReplacer::IsIdle() const {
  return std::all_of(workers_.begin(), workers_.end(),
                     [](const Worker& worker) { return worker.jobs.empty(); });
}

std::vector<PartReplacer::Failure> PartReplacer::Finish() {
  std::unique_lock lock(mutex_);
  done_.wait(lock, [&] { return IsIdle(); });
  std::sort(failures_.begin(), failures_.end(),
            [](const Failure& one, const Failure& other) { return one.index < other.index; });
  return std::exchange(failures_, {});
}

}  // namespace tvl
