#ifndef TVL_BASE_STOP_H
#define TVL_BASE_STOP_H

namespace tvl {

using StopHook = int (*)(void* userData);

// The calling thread's hook; null removes it.
void SetStopHook(StopHook hook, void* userData);

// True if the application wants the calling thread's long work to end. Walks ask between two entries. A yes
// is noted as ECANCELED (last_error.h).
[[nodiscard]] bool StopRequested();

}  // namespace tvl

#endif
