#ifndef TVL_PLATFORM_COMMON_SOCKET_STATE_H
#define TVL_PLATFORM_COMMON_SOCKET_STATE_H

#include "platform/async_socket.h"

namespace tvl {

// Trivially destructible, because a connection may be closed while the process exits.
extern constinit thread_local int socket_error;             // of the calling thread's last call that failed
extern constinit thread_local CAsyncSocket* waited_socket;  // of the calling thread's innermost SocketWait

constexpr int kHostNotFound = 11001;

}  // namespace tvl

#endif
