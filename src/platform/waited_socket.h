#ifndef TVL_PLATFORM_WAITED_SOCKET_H
#define TVL_PLATFORM_WAITED_SOCKET_H

#include <poll.h>

namespace tvl {

// The calling thread's SocketWait, as poll() takes it; inside the platform layer only.
struct WaitedSocket {
  // What to poll for; the descriptor is -1 if there is no socket, or nothing to come from it.
  static pollfd Poll();

  // What poll() has found, so that the next pump need not ask again.
  static void Remember(short ready);
};

}  // namespace tvl

#endif
