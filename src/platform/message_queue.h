#ifndef TVL_PLATFORM_MESSAGE_QUEUE_H
#define TVL_PLATFORM_MESSAGE_QUEUE_H

#include <cstdint>

#include "platform/files.h"

// Message queues, one per thread. Any thread may post to any other; only the owner removes messages.

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

// Appends a message to the queue of a thread. Returns 0 if the thread has no queue, which its first
// PeekMessageA creates, or if memory ran out.
BOOL PostThreadMessageA(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam);

// Removes the first message from the queue of the calling thread (`remove` is PM_REMOVE, the filters are 0).
// Returns 0 if there is none.
BOOL PeekMessageA(MSG* message, HANDLE window, UINT first, UINT last, UINT remove);

namespace tvl {

using MessageHandler = void (*)(const MSG& message);

// Sleeps until the queue of the calling thread contains a message, or the socket that it waits for
// (async_socket.h) has an event, or the time is over; a negative time means no limit. May wake up without a
// reason.
void WaitMessage(int milliseconds);

// Sets the handler of the calling thread's messages. Null removes it.
void SetMessageHandler(MessageHandler handler);

}  // namespace tvl

// Passes a message to the handler of the calling thread.
void DispatchMessageA(const MSG* message);

#endif
