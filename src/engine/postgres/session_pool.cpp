#include "engine/postgres/session_pool.h"

#include <chrono>
#include <map>
#include <new>
#include <thread>
#include <utility>

#include "engine/last_error.h"
#include "host/fork_guard.h"

namespace tvl::engine {
namespace {

constexpr std::size_t kMostIdle = 4;
constexpr std::chrono::milliseconds kPauseBetweenTries{100};

struct Pools {
  std::mutex mutex;
  std::map<std::string, SessionPool> by_service;
};

Pools* pools = nullptr;

// The parent's pools may be in the middle of a change, so they are abandoned, not destroyed.
void StartAgainInChild() {
  pools = new (std::nothrow) Pools;
}

Pools& AllPools() {
  static const bool is_set = [] {
    pools = new Pools;
    return ForkGuard::Start() == 0 && CallAroundForks(nullptr, nullptr, StartAgainInChild) == 0;
  }();
  if (!is_set || pools == nullptr) throw std::bad_alloc();
  return *pools;
}

}  // namespace

SessionPool& SessionPool::Of(const std::string& service) {
  Pools& all = AllPools();
  const std::lock_guard guard(all.mutex);
  return all.by_service.try_emplace(service, service).first->second;
}

std::unique_ptr<Session> SessionPool::TakeIdle() {
  const std::lock_guard guard(mutex_);
  while (!idle_.empty()) {
    std::unique_ptr<Session> session = std::move(idle_.back());
    idle_.pop_back();
    if (session->IsUsable()) return session;
  }
  return nullptr;
}

// A server that was never reached is probably named wrongly; it is not waited for.
std::unique_ptr<Session> SessionPool::Take(Patience& patience) {
  std::unique_ptr<Session> session = TakeIdle();
  const auto end = patience.End();
  while (session == nullptr) {
    session = Session::Connect(service_);
    if (session != nullptr) break;
    {
      const std::lock_guard guard(mutex_);
      if (!has_connected_ || std::chrono::steady_clock::now() >= end) return nullptr;
    }
    std::this_thread::sleep_for(kPauseBetweenTries);
  }
  const std::lock_guard guard(mutex_);
  has_connected_ = true;
  return session;
}

void SessionPool::Return(std::unique_ptr<Session> session) {
  const std::lock_guard guard(mutex_);
  if (idle_.size() < kMostIdle && session->IsUsable()) idle_.push_back(std::move(session));
}

SessionLease::SessionLease(SessionPool& pool, Kind kind, Patience& patience)
    : pool_(pool), turn_(pool.single_, std::defer_lock) {
  if (kind == Kind::kCall && !turn_.try_lock_until(patience.End())) {
    NoteError("another thread uses the connection to PostgreSQL", Problem::kBusy);
    return;
  }
  session_ = pool.Take(patience);
}

SessionLease::~SessionLease() {
  if (session_ != nullptr) pool_.Return(std::move(session_));
}

}  // namespace tvl::engine
