#ifndef TVL_SERVER_STATUS_STORE_PROBE_H
#define TVL_SERVER_STATUS_STORE_PROBE_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

#include "config/config.h"
#include "server/files/store_root.h"
#include "server/status/patient_thread.h"
#include "server/status/store_health.h"

namespace tvl::server {

// Looks at the store on request, on a thread of its own, so that a store that hangs delays nobody.
// Any thread may use it.
class StoreProbe {
 public:
  // The result of one look is reused for this long.
  static constexpr std::chrono::milliseconds kFresh{1000};
  static constexpr std::size_t kMostLocks = 200;

  // Both are borrowed.
  StoreProbe(const StoreRoot& root, const CConfig& config);
  ~StoreProbe() { Stop(); }
  StoreProbe(const StoreProbe&) = delete;
  StoreProbe& operator=(const StoreProbe&) = delete;

  // Returns what was found not more than kFresh ago; waits for that up to `patience`. If the store does not
  // answer by then, the result has that as its problem.
  [[nodiscard]] std::shared_ptr<const StoreHealth> Look(std::chrono::milliseconds patience);

  // Ends the thread once the store lets it.
  void Stop();
  [[nodiscard]] bool EndsWithin(std::chrono::milliseconds patience) const {
    return thread_->EndsWithin(patience);
  }

 private:
  void Run();
  [[nodiscard]] bool AwaitQuestion();
  [[nodiscard]] std::shared_ptr<const StoreHealth> LookNow(CConnection& connection);
  void CheckDisk(StoreHealth& health);
  void CheckLocks(StoreHealth& health, CConnection& connection);
  void BeginStage(const char* what);
  [[nodiscard]] bool HasFresh() const;

  const StoreRoot& root_;
  const CConfig& config_;
  mutable std::mutex mutex_;
  std::condition_variable asked_;
  std::condition_variable answered_;
  bool wanted_ = false;
  bool stopping_ = false;
  const char* stage_ = "";  // what is being looked at
  std::shared_ptr<const StoreHealth> latest_;
  std::optional<PatientThread> thread_;  // the last member: it uses the others
};

}  // namespace tvl::server

#endif
