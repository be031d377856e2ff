#ifndef TVL_PLATFORM_MESSAGE_QUEUE_H
#define TVL_PLATFORM_MESSAGE_QUEUE_H

#include <cstdint>

#include "platform/files.h"

// A queue of messages a thread. Any thread may post to any other; only the owner takes messages off.

using UINT = std::uint32_t;
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;

struct MSG {
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
};

constexpr UINT PM_REMOVE = 1;

DWORD GetCurrentThreadId();

// Puts a message at the end of a thread's queue. 0 if the thread has no queue (it gets one with its first
// PeekMessageA) or there is no memory.
BOOL PostThreadMessageA(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam);

// Takes the first message off the calling thread's queue (`remove` is PM_REMOVE, the filters are 0). 0 if
// there is none.
BOOL PeekMessageA(MSG* message, HANDLE window, UINT first, UINT last, UINT remove);

namespace tvl {

using MessageHandler = void (*)(const MSG& message);

// Sleeps until the calling thread's queue holds a message, be it posted by another thread, or the socket that
// it waits for (async_socket.h) has something to notify of, or the time is over; negative means no limit. May
// wake for nothing.
void WaitMessage(int milliseconds);

// Who gets the calling thread's messages; null for nobody.
void SetMessageHandler(MessageHandler handler);

}  // namespace tvl

// Hands a message to the calling thread's handler.
void DispatchMessageA(const MSG* message);

#endif
