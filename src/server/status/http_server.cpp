#include "server/status/http_server.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "host/descriptor.h"
#include "host/system_calls.h"

namespace tvl::server {
namespace {

constexpr timeval kPatience = {1, 0};

// If the socket listens on all addresses, its own address leads to this computer.
void ConnectTo(int listener) {
  sockaddr_storage address = {};
  socklen_t size = sizeof address;
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  const Descriptor caller(socket(address.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!caller.IsOpen()) return;
  setsockopt(caller.Get(), SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
  connect(caller.Get(), reinterpret_cast<const sockaddr*>(&address), size);
  send(caller.Get(), "\r\n", 2, MSG_NOSIGNAL);  // a silent connection might be accepted seconds later
}

}  // namespace

// The library ends when a call of accept fails, so the socket must block.
void HttpServer::Adopt(int socket) {
  adopted_ = socket;
  System().set_flags(socket, fcntl(socket, F_GETFL) & ~O_NONBLOCK);
  svr_sock_ = socket;
}

// The library shuts its socket down to end its call of accept. The service manager and the next server could
// not use the socket after that, so a connection ends the call here.
void HttpServer::Stop() {
  if (adopted_ < 0) {
    stop();
    return;
  }
  svr_sock_ = INVALID_SOCKET;
  ConnectTo(adopted_);
}

}  // namespace tvl::server
