#ifndef TVL_PLATFORM_WINDOWS_WAITED_SOCKET_H
#define TVL_PLATFORM_WINDOWS_WAITED_SOCKET_H

#include "platform/windows/native_socket.h"

namespace tvl {

// The SocketWait of the calling thread. For the platform layer only.
struct WaitedSocket {
  // Returns the socket, what is to be waited for, and whether it is connecting; null if there is none or
  // nothing to expect from it.
  static const native::Socket* Get(native::Ready* wanted, bool* connecting);

  // Sleeps until there is something to pump, but for at most `milliseconds` (-1: no limit).
  static void Wait(int milliseconds);
};

}  // namespace tvl

#endif
