#ifndef TVL_PLATFORM_MESSAGES_H
#define TVL_PLATFORM_MESSAGES_H

#include <cstdint>

#include "platform/files.h"

// The messages of the calling thread, where the system has them.

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;

struct MSG {
  HANDLE hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  DWORD time;
  std::int32_t x;
  std::int32_t y;
};

constexpr UINT PM_REMOVE = 1;

// Takes the first message off the calling thread's queue (`remove` is PM_REMOVE, the filters are 0). Returns
// 0 if there is none, as always on a system without messages.
BOOL PeekMessageA(MSG* message, HANDLE window, UINT first, UINT last, UINT remove);

// Hands a message to the window that it is for.
void DispatchMessageA(const MSG* message);

namespace tvl {

// Sleeps until the calling thread has a message, or the socket that it waits for (async_socket.h) has
// something to notify of, or the time is over; a negative time has no limit. May wake for nothing.
void WaitMessage(int milliseconds);

}  // namespace tvl

#endif
