#include "base/pump.h"

#include "platform/message_queue.h"

namespace {

constexpr UINT kIdleMessage = 0x36A;

struct Hook {
  tvl::PumpHook call;
  void* user_data;
};

// Trivially destructible, since a connection closed while the process ends pumps too.
constinit thread_local Hook thread_hook = {};

}  // namespace

void PumpMessages() {
  if (thread_hook.call != nullptr) thread_hook.call(thread_hook.user_data);
  MSG message = {};
  while (PeekMessageA(&message, 0, 0, 0, PM_REMOVE) != 0) {
    if (message.message != kIdleMessage) DispatchMessageA(&message);
  }
}

void tvl::SetPumpHook(PumpHook hook, void* userData) {
  thread_hook = {hook, userData};
}
