#ifndef TVL_SERVER_SERVICE_MANAGER_NOTIFY_SOCKET_H
#define TVL_SERVER_SERVICE_MANAGER_NOTIFY_SOCKET_H

#include <sys/socket.h>
#include <sys/un.h>

#include <string>
#include <string_view>

#include "host/descriptor.h"

namespace tvl::server {

// The datagram socket on which a service manager receives notifications.
class NotifySocket {
 public:
  // `address`: a path, or "@" followed by an abstract name, as in NOTIFY_SOCKET. Throws std::runtime_error
  // for anything else, std::system_error if there is no socket to be had.
  explicit NotifySocket(const std::string& address);

  // Sends lines of the form NAME=VALUE in one datagram. Waits a second at most for a manager that does not
  // read, and then drops them. False if they were not sent; errno says why.
  [[nodiscard]] bool Send(std::string_view lines) const;

 private:
  sockaddr_un address_ = {};
  socklen_t address_size_ = 0;
  Descriptor socket_;
};

}  // namespace tvl::server

#endif
