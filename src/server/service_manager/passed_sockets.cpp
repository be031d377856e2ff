#include "server/service_manager/passed_sockets.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "server/service_manager/environment.h"

namespace tvl::server {
namespace {

constexpr int kFirst = 3;
constexpr int kMost = 1024;

int Option(int socket, int name) {
  int value = -1;
  socklen_t size = sizeof value;
  return getsockopt(socket, SOL_SOCKET, name, &value, &size) == 0 ? value : -1;
}

void CheckListens(const PassedSocket& passed) {
  const int domain = Option(passed.number, SO_DOMAIN);
  if ((domain == AF_INET || domain == AF_INET6) && Option(passed.number, SO_TYPE) == SOCK_STREAM &&
      Option(passed.number, SO_ACCEPTCONN) == 1)
    return;
  throw std::runtime_error("passed socket \"" + passed.name + "\", descriptor " +
                           std::to_string(passed.number) + ": not a listening TCP socket");
}

// Cuts the next name off a list with colons between.
std::string NextName(std::string_view& names) {
  const std::string_view name = names.substr(0, names.find(':'));
  names.remove_prefix(name.size() == names.size() ? name.size() : name.size() + 1);
  return std::string(name);
}

}  // namespace

std::vector<PassedSocket> FindPassedSockets() {
  std::vector<PassedSocket> sockets;
  if (EnvironmentNumber("LISTEN_PID") != getpid()) return sockets;
  const std::int64_t count = EnvironmentNumber("LISTEN_FDS").value_or(-1);
  if (count < 0 || count > kMost) throw std::runtime_error("LISTEN_FDS is not a number of sockets");
  std::string_view names = EnvironmentText("LISTEN_FDNAMES");
  for (int number = kFirst; number < kFirst + count; ++number) {
    sockets.push_back({NextName(names), number});
    CheckListens(sockets.back());
    fcntl(number, F_SETFD, FD_CLOEXEC);
  }
  return sockets;
}

asio::ip::tcp::endpoint EndpointOf(int socket) {
  asio::ip::tcp::endpoint endpoint;
  auto size = static_cast<socklen_t>(endpoint.capacity());
  getsockname(socket, endpoint.data(), &size);
  endpoint.resize(size);
  return endpoint;
}

}  // namespace tvl::server
