#ifndef TVL_ENGINE_POSTGRES_SESSION_POOL_H
#define TVL_ENGINE_POSTGRES_SESSION_POOL_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/patience.h"
#include "engine/postgres/session.h"

namespace tvl::engine {

// The sessions of this process with one service: one for all calls outside batches, and one for each open
// batch. Any thread may use it. A forked child begins with new pools, and never touches its parent's.
class SessionPool {
 public:
  // Returns the pool of a service. It is never destroyed.
  [[nodiscard]] static SessionPool& Of(const std::string& service);

  explicit SessionPool(std::string service) : service_(std::move(service)) {}
  SessionPool(const SessionPool&) = delete;
  SessionPool& operator=(const SessionPool&) = delete;

 private:
  friend class SessionLease;

  [[nodiscard]] std::unique_ptr<Session> TakeIdle();
  [[nodiscard]] std::unique_ptr<Session> Take(Patience& patience);
  void Return(std::unique_ptr<Session> session);

  std::string service_;
  std::mutex mutex_;  // of what follows
  std::vector<std::unique_ptr<Session>> idle_;
  bool has_connected_ = false;
  std::timed_mutex single_;  // held by the one call outside batches
};

// The use of a session, for one call or for a batch.
class SessionLease {
 public:
  enum class Kind { kCall, kBatch };

  // Waits as long as `patience` lasts for other threads, and for a server that was reached before. Has no
  // session and notes an error on failure.
  SessionLease(SessionPool& pool, Kind kind, Patience& patience);
  SessionLease(const SessionLease&) = delete;
  SessionLease& operator=(const SessionLease&) = delete;
  ~SessionLease();

  [[nodiscard]] bool Has() const { return session_ != nullptr; }
  [[nodiscard]] Session& operator*() const { return *session_; }
  [[nodiscard]] Session* operator->() const { return session_.get(); }

  // Ends the session instead of keeping it for others, because it is broken or in an unknown state.
  void Drop() { session_.reset(); }

 private:
  SessionPool& pool_;
  std::unique_lock<std::timed_mutex> turn_;
  std::unique_ptr<Session> session_;
};

}  // namespace tvl::engine

#endif
