#include "server/service_manager/notify_socket.h"

#include <sys/time.h>

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <system_error>

namespace tvl::server {
namespace {

constexpr timeval kPatience = {1, 0};

}  // namespace

NotifySocket::NotifySocket(const std::string& address)
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const bool is_abstract = address.starts_with('@');
  if ((!is_abstract && !address.starts_with('/')) || address.size() >= sizeof address_.sun_path)
    throw std::runtime_error("NOTIFY_SOCKET is neither a path nor an abstract name: " + address);
  address_.sun_family = AF_UNIX;
  address.copy(address_.sun_path, address.size());
  if (is_abstract) address_.sun_path[0] = '\0';
  // The zero that ends a path is part of it; one after an abstract name would be part of the name.
  address_size_ =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size() + (is_abstract ? 0 : 1));
  if (!socket_.IsOpen() ||
      setsockopt(socket_.Get(), SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience) != 0)
    throw std::system_error(errno, std::generic_category(), "socket for the service manager");
}

bool NotifySocket::Send(std::string_view lines) const {
  return sendto(socket_.Get(), lines.data(), lines.size(), MSG_NOSIGNAL,
                reinterpret_cast<const sockaddr*>(&address_), address_size_) >= 0;
}

}  // namespace tvl::server
