#ifndef TVL_BASE_PUMP_H
#define TVL_BASE_PUMP_H

// Keeps the calling thread's messages moving during long work: runs the application's hook once, handles
// every message that waits, and calls what is due of the hooks of a socket that the thread waits for. Never
// waits itself; does next to nothing on a thread with none of these. A message 0x36A, an event loop's sign of
// idling, is dropped.
void PumpMessages();

namespace tvl {

using PumpHook = void (*)(void* userData);

// The calling thread's hook; null takes it away.
void SetPumpHook(PumpHook hook, void* userData);

// Sleeps until there is something to pump, for `milliseconds` at most (-1: any time). On a thread with a hook
// for 10 ms at most, since what the hook looks at does not wake the thread.
void SleepUntilPumpIsDue(int milliseconds);

}  // namespace tvl

#endif
