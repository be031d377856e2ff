#include "scale/relay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

constexpr timespec kDelay = {0, 1'000'000};
constexpr int kPollTime = 50;

int ConnectTo(const std::string& path) {
  const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  if (connect(made, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return made;
  close(made);
  return -1;
}

// Returns false at the end of the connection.
bool PassBlock(int from, int to) {
  char block[65536];
  const ssize_t length = read(from, block, sizeof block);
  return length > 0 && send(to, block, static_cast<std::size_t>(length), MSG_NOSIGNAL) == length;
}

}  // namespace

Relay::Relay(std::string target) : target_(std::move(target)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener_, 8) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
    throw std::runtime_error("no relay");
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { Serve(); });
}

Relay::~Relay() {
  ends_ = true;
  thread_.join();
  close(listener_);
}

void Relay::Serve() {
  while (!ends_) {
    pollfd waiting = {listener_, POLLIN, 0};
    if (poll(&waiting, 1, kPollTime) <= 0) continue;
    const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    PassOn(client);
    close(client);
  }
}

void Relay::PassOn(int client) {
  const int server = ConnectTo(target_);
  const int on = 1;
  setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  bool has_answered = true;
  for (bool goes_on = server >= 0; goes_on && !ends_;) {
    pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
    if (poll(ends, 2, kPollTime) <= 0) continue;
    if (ends[0].revents != 0) {
      if (std::exchange(has_answered, false)) {
        ++round_trips_;
        nanosleep(&kDelay, nullptr);
      }
      goes_on = PassBlock(client, server);
    }
    if (goes_on && ends[1].revents != 0) {
      has_answered = true;
      goes_on = PassBlock(server, client);
    }
  }
  close(server);
}
