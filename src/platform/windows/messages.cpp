#include "platform/messages.h"

#include "platform/windows/native_socket.h"
#include "platform/windows/waited_socket.h"

namespace native = tvl::native;

BOOL PeekMessageA(MSG* message, HANDLE /*window*/, UINT /*first*/, UINT /*last*/, UINT /*remove*/) {
  native::Message taken = {};
  if (!native::TakeMessage(&taken)) return 0;
  *message = {taken.window, taken.number, taken.first, taken.second, taken.time, taken.x, taken.y};
  return 1;
}

void DispatchMessageA(const MSG* message) {
  native::Dispatch({message->hwnd, message->message, message->wParam, message->lParam, message->time,
                    message->x, message->y});
}

void tvl::WaitMessage(int milliseconds) {
  WaitedSocket::Wait(milliseconds);
}
