#include "base/stop.h"

#include <cerrno>
#include <utility>

#include "platform/last_error.h"

namespace {

// Trivially destructible, because trees may still be removed while the process exits.
constinit thread_local tvl::StopRequest thread_request = {};

}  // namespace

tvl::StopRequest tvl::SetStopHook(StopHook hook, void* userData) {
  return std::exchange(thread_request, {hook, userData});
}

bool tvl::StopRequested() {
  if (thread_request.hook == nullptr || thread_request.hook(thread_request.user_data) == 0) return false;
  NoteError(nullptr, ECANCELED);
  return true;
}
