#include "host/local_turn.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>

#include <cerrno>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace tvl {
namespace {

constexpr int kMostPauses = 1000;
constexpr timespec kPause = {0, 1'000'000};

// FNV-1a
std::uint64_t Hash(const char* text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (; *text != 0; ++text) hash = (hash ^ static_cast<unsigned char>(*text)) * 0x100000001b3;
  return hash;
}

// Binds the socket to a name of this computer that is no file and is free again when the process ends.
bool Bind(int socket, std::uint64_t number) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const int length =
      std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "tvl-open-%016" PRIx64, number);
  const auto size =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<std::size_t>(length));
  return bind(socket, reinterpret_cast<const sockaddr*>(&address), size) == 0;
}

}  // namespace

LocalTurn::LocalTurn(const char* path) {
  if (!ForkGuard::OpenFor(socket_, [] { return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); })) return;
  const std::uint64_t number = Hash(path);
  int pauses = 0;
  while (!Bind(socket_.descriptor, number) && errno == EADDRINUSE && pauses++ < kMostPauses)
    nanosleep(&kPause, nullptr);
}

LocalTurn::~LocalTurn() {
  if (socket_.descriptor >= 0) ForkGuard::Close(socket_);
}

}  // namespace tvl
