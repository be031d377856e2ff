#ifndef TVL_FRONTEND_C_LONG_WORK_H
#define TVL_FRONTEND_C_LONG_WORK_H

#include <cstddef>
#include <cstdint>

#include <tvlclient/tvlc.h>

#include "base/stop.h"
#include "client/progress.h"
#include "frontend/c/handle.h"

namespace tvl::c {

// A long operation of a store: calls the caller's progress callback with sizes of 64 bits, counts what could
// not be copied, and ends the work where the callback or tvlc_stop requests it. The stop hook of the thread
// keeps its effect.
class LongWork : public Progress {
 public:
  // `callback` may be null.
  LongWork(const Connection& connection, tvlc_progress callback, void* user_data);
  ~LongWork() override;
  LongWork(const LongWork&) = delete;
  LongWork& operator=(const LongWork&) = delete;

  [[nodiscard]] bool IsWanted() const override { return callback_ != nullptr; }
  void ReportFile(const PathText& path, int size) const override;
  void ReportFolder(const PathText& path) const override { Reached(path.Text(), 0); }
  void ReportFailure(const PathText& path) const override;

  // Reports a file or folder, by a path of the library.
  void Reached(const char* path, std::uint64_t size) const;

  // Ends the work at the next file.
  void RequestStop() const { stopped_ = true; }

  [[nodiscard]] std::size_t Failures() const { return failures_; }
  // Restores the reason of the first failure as that of the call.
  void RestoreFirstFailure() const { RestoreLastError(first_failure_); }

 private:
  static int IsToStop(void* work);

  const Connection& connection_;
  tvlc_progress callback_;
  void* user_data_;
  StopRequest previous_;
  // The walks that report see this object as constant.
  mutable bool stopped_ = false;
  mutable std::size_t failures_ = 0;
  mutable LastError first_failure_ = {};
};

}  // namespace tvl::c

#endif
