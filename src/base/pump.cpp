#include "base/pump.h"

#include "platform/async_socket.h"
#include "platform/messages.h"

namespace {

constexpr UINT kIdleMessage = 0x36A;
constexpr int kHookMilliseconds = 10;

struct Hook {
  tvl::PumpHook call;
  void* user_data;
};

// Trivially destructible, because a connection that is closed while the process exits pumps too.
constinit thread_local Hook thread_hook = {};

}  // namespace

void PumpMessages() {
  if (thread_hook.call != nullptr) thread_hook.call(thread_hook.user_data);
  MSG message = {};
  while (PeekMessageA(&message, 0, 0, 0, PM_REMOVE) != 0) {
    if (message.message != kIdleMessage) DispatchMessageA(&message);
  }
  tvl::NotifySocket();
}

void tvl::SleepUntilPumpIsDue(int milliseconds) {
  const bool hook_is_earlier = milliseconds < 0 || milliseconds > kHookMilliseconds;
  WaitMessage(thread_hook.call != nullptr && hook_is_earlier ? kHookMilliseconds : milliseconds);
}

void tvl::SetPumpHook(PumpHook hook, void* userData) {
  thread_hook = {hook, userData};
}
