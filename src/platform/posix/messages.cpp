#include "platform/messages.h"

#include <poll.h>

#include "platform/posix/waited_socket.h"

// Nothing can post a message here, so there is no queue.

BOOL PeekMessageA(MSG* /*message*/, HANDLE /*window*/, UINT /*first*/, UINT /*last*/, UINT /*remove*/) {
  return 0;
}

void DispatchMessageA(const MSG* /*message*/) {}

void tvl::WaitMessage(int milliseconds) {
  pollfd waited = WaitedSocket::Poll();
  if (poll(&waited, 1, milliseconds) > 0) WaitedSocket::Remember(waited.revents);
}
