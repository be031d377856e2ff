#ifndef TVL_BASE_PUMP_H
#define TVL_BASE_PUMP_H

// Keeps the calling thread's messages moving during long work: runs the application's hook once, then handles
// every message that waits. Never waits itself; does next to nothing on a thread with neither. A message
// 0x36A, an event loop's sign of idling, is dropped.
void PumpMessages();

namespace tvl {

using PumpHook = void (*)(void* userData);

// The calling thread's hook; null takes it away.
void SetPumpHook(PumpHook hook, void* userData);

}  // namespace tvl

#endif
