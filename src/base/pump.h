#ifndef TVL_BASE_PUMP_H
#define TVL_BASE_PUMP_H

// Processes the events of the calling thread during long work: calls the application's hook once, handles all
// pending messages, and calls the due hooks of a socket that the thread waits for. Never blocks, and returns
// quickly on a thread without any of these. Discards message 0x36A, with which an event loop signals that it
// is idle.
void PumpMessages();

namespace tvl {

using PumpHook = void (*)(void* userData);

// Sets the hook of the calling thread. Null removes it.
void SetPumpHook(PumpHook hook, void* userData);

// Sleeps until there is something to pump, but for at most `milliseconds` (-1: no limit). On a thread with a
// hook, sleeps for at most 10 ms, because the events that the hook handles do not wake the thread.
void SleepUntilPumpIsDue(int milliseconds);

}  // namespace tvl

#endif
