#ifndef TVL_PLATFORM_POSIX_WAITED_SOCKET_H
#define TVL_PLATFORM_POSIX_WAITED_SOCKET_H

#include <poll.h>

namespace tvl {

// The SocketWait of the calling thread in the form of poll(). For the platform layer only.
struct WaitedSocket {
  // Returns what to poll for; the descriptor is -1 if there is no socket or nothing to expect from it.
  static pollfd Poll();

  // Stores the result of poll(), so that the next pump need not call it again.
  static void Remember(short ready);
};

}  // namespace tvl

#endif
