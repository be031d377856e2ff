#include "frontend/c/long_work.h"

#include "frontend/c/paths.h"
#include "platform/writing.h"

namespace tvl::c {

LongWork::LongWork(const Connection& connection, tvlc_progress callback, void* user_data)
    : Progress(nullptr, nullptr),
      connection_(connection),
      callback_(callback),
      user_data_(user_data),
      previous_(SetStopHook(IsToStop, this)) {}

LongWork::~LongWork() {
  SetStopHook(previous_.hook, previous_.user_data);
}

// The library's own sizes have 32 bits.
void LongWork::ReportFile(const PathText& path, int size) const {
  if (!IsWanted()) return;
  const LastError before = TakeLastError();
  SourceTraits traits = {};
  const bool known = ReadTraits(path.Text(), &traits);
  RestoreLastError(before);
  Reached(path.Text(), known ? traits.size : static_cast<unsigned int>(size));
}

void LongWork::ReportFailure(const PathText& path) const {
  const LastError reason = TakeLastError();
  if (failures_++ > 0) return;
  first_failure_ = reason;
  if (first_failure_.path[0] == 0) CopyCut(first_failure_.path, path.View());
}

void LongWork::Reached(const char* path, std::uint64_t size) const {
  if (callback_ == nullptr || stopped_) return;
  if (callback_(Slashed(path).c_str(), size, user_data_) != 0) stopped_ = true;
}

int LongWork::IsToStop(void* work) {
  const auto& self = *static_cast<const LongWork*>(work);
  if (self.stopped_ || self.connection_.IsToStop()) return 1;
  return self.previous_.hook != nullptr ? self.previous_.hook(self.previous_.user_data) : 0;
}

}  // namespace tvl::c
