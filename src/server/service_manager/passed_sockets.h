#ifndef TVL_SERVER_SERVICE_MANAGER_PASSED_SOCKETS_H
#define TVL_SERVER_SERVICE_MANAGER_PASSED_SOCKETS_H

#include <asio/ip/tcp.hpp>
#include <string>
#include <vector>

namespace tvl::server {

// A listening socket that the service manager opened and passed to this process.
struct PassedSocket {
  std::string name;
  int number;
};

// The sockets that LISTEN_PID, LISTEN_FDS and LISTEN_FDNAMES describe; none if those are absent or meant for
// another process. Throws std::runtime_error if one of them is not a listening TCP socket, or if the
// description is malformed.
[[nodiscard]] std::vector<PassedSocket> FindPassedSockets();

// The address on which a socket listens.
[[nodiscard]] asio::ip::tcp::endpoint EndpointOf(int socket);

}  // namespace tvl::server

#endif
