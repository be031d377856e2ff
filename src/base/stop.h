#ifndef TVL_BASE_STOP_H
#define TVL_BASE_STOP_H

namespace tvl {

using StopHook = int (*)(void* userData);

struct StopRequest {
  StopHook hook;
  void* user_data;
};

// Sets the hook of the calling thread and returns the previous one. Null removes it.
StopRequest SetStopHook(StopHook hook, void* userData);

// Returns true if the application wants to stop the long operation of the calling thread. Walks call it
// between two entries. Records ECANCELED (last_error.h) if it returns true.
[[nodiscard]] bool StopRequested();

}  // namespace tvl

#endif
