#include "base/stop.h"

#include <cerrno>

#include "platform/last_error.h"

namespace {

struct Hook {
  tvl::StopHook call;
  void* user_data;
};

// Trivially destructible, because trees may still be removed while the process exits.
constinit thread_local Hook thread_hook = {};

}  // namespace

void tvl::SetStopHook(StopHook hook, void* userData) {
  thread_hook = {hook, userData};
}

bool tvl::StopRequested() {
  if (thread_hook.call == nullptr || thread_hook.call(thread_hook.user_data) == 0) return false;
  NoteError(nullptr, ECANCELED);
  return true;
}
