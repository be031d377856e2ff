#include "server/status/store_probe.h"

#include <string>
#include <utility>

#include "table/engine_binding.h"

namespace tvl::server {
namespace {

constexpr char kClass[] = "stat";

std::string WhyNoLocks() {
  switch (engine::LastProblem()) {
    case TableProblem::kBusy:
      return "the lock table is busy";
    case TableProblem::kDamaged:
      return "the lock table is damaged";
    default:
      return "the lock table cannot be read";
  }
}

}  // namespace

StoreProbe::StoreProbe(const StoreRoot& root, const CConfig& config) : root_(root), config_(config) {
  thread_.emplace([this] { Run(); });
}

void StoreProbe::Stop() {
  const std::lock_guard<std::mutex> guard(mutex_);
  stopping_ = true;
  asked_.notify_all();
}

bool StoreProbe::HasFresh() const {
  return latest_ && std::chrono::steady_clock::now() - latest_->time < kFresh;
}

std::shared_ptr<const StoreHealth> StoreProbe::Look(std::chrono::milliseconds patience) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!HasFresh()) {
    wanted_ = true;
    asked_.notify_one();
  }
  if (answered_.wait_for(lock, patience, [this] { return HasFresh(); })) return latest_;
  StoreHealth silent;
  silent.problem = std::string(stage_) + " does not respond";
  return std::make_shared<const StoreHealth>(std::move(silent));
}

bool StoreProbe::AwaitQuestion() {
  std::unique_lock<std::mutex> lock(mutex_);
  asked_.wait(lock, [this] { return wanted_ || stopping_; });
  wanted_ = false;
  return !stopping_;
}

// Its presence is never announced, so it has no marker and can own no lock.
void StoreProbe::Run() {
  CConnection connection(config_.locksDir, config_.procsDir, kClass);
  while (AwaitQuestion()) {
    std::shared_ptr<const StoreHealth> found = LookNow(connection);
    const std::lock_guard<std::mutex> guard(mutex_);
    latest_ = std::move(found);
    answered_.notify_all();
  }
}

void StoreProbe::BeginStage(const char* what) {
  const std::lock_guard<std::mutex> guard(mutex_);
  stage_ = what;
}

std::shared_ptr<const StoreHealth> StoreProbe::LookNow(CConnection& connection) {
  StoreHealth health;
  BeginStage("the document root");
  health.root_in_place = root_.IsInPlace();
  if (!health.root_in_place) health.problem = "the document root is not in its place";
  CheckDisk(health);
  CheckLocks(health, connection);
  health.time = std::chrono::steady_clock::now();
  return std::make_shared<const StoreHealth>(std::move(health));
}

void StoreProbe::CheckDisk(StoreHealth& health) {
  BeginStage("the disk");
  const std::optional<DiskSpace> space = root_.Space();
  health.disk_answers = space.has_value();
  if (space) {
    health.free_bytes = space->free;
    health.size_bytes = space->size;
  } else if (health.problem.empty()) {
    health.problem = "the disk cannot be examined";
  }
}

void StoreProbe::CheckLocks(StoreHealth& health, CConnection& connection) {
  BeginStage("the lock table");
  health.lock_table_answers = connection.ListLocks(health.locks, kMostLocks + 1);
  if (!health.lock_table_answers && health.problem.empty()) health.problem = WhyNoLocks();
  health.more_locks = health.locks.size() > kMostLocks;
  if (health.more_locks) health.locks.pop_back();
}

}  // namespace tvl::server
