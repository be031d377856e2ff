#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <tvlclient/tvlclient.h>

// The input is what a server sends to a client that connects, locks, gets, puts and unlocks. The first byte
// determines how the server begins; the rest is sent unchanged, and then the stream ends.

namespace {

constexpr std::uint8_t kWelcomes = 1;  // begins with a valid reply to the handshake
constexpr std::uint8_t kPacks = 2;     // with compressed transfers
constexpr std::uint8_t kByTime = 4;    // and are compared by time
constexpr std::uint8_t kGrants = 8;    // and with a transfer window

[[noreturn]] void Fail() {
  std::abort();
}

// The server. It has no thread: it runs in the client's message pump.
class Server {
 public:
  Server() {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* bound = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, bound, size) != 0 || listen(listener_, 16) != 0 ||
        getsockname(listener_, bound, &size) != 0) {
      Fail();
    }
    port_ = ntohs(address.sin_port);
  }

  [[nodiscard]] unsigned int Port() const { return port_; }

  void Begin(std::string bytes) { bytes_ = std::move(bytes); }

  void TakeTurn() {
    if (client_ < 0) client_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client_ < 0 || ended_) return;
    const ssize_t sent = send(client_, bytes_.data(), bytes_.size(), MSG_NOSIGNAL);
    if (sent > 0) bytes_.erase(0, static_cast<std::size_t>(sent));
    ended_ = bytes_.empty() || (sent < 0 && errno != EAGAIN);
    if (ended_) shutdown(client_, SHUT_WR);
    std::array<char, 4096> received;
    while (recv(client_, received.data(), received.size(), 0) > 0) {
    }
  }

  // A reset, before the client closes, keeps used ports from piling up.
  void End() {
    const linger at_once = {1, 0};
    if (client_ >= 0) {
      setsockopt(client_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
      close(client_);
    }
    client_ = -1;
    ended_ = false;
  }

 private:
  int listener_ = -1;
  int client_ = -1;
  unsigned int port_ = 0;
  std::string bytes_;
  bool ended_ = false;
};

// A text for an argument that the interface declares writable.
class Text {
 public:
  explicit Text(const std::string& text) : bytes_(text) { bytes_.resize(259); }
  operator char*() { return bytes_.data(); }

 private:
  std::string bytes_;
};

// A temporary working directory with a file to put.
class Folder {
 public:
  Folder() {
    if (mkdtemp(path_.data()) == nullptr) Fail();
    std::ofstream(path_ + "/put") << "a file to put";
  }
  ~Folder() {
    for (const char* name : {"/put", "/got", ""}) remove((path_ + name).c_str());
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_ = "/tmp/tvl_fuzz_XXXXXX";
};

std::string Reply(std::string_view payload) {
  std::string packet(4, 0);
  packet[2] = static_cast<char>(payload.size());
  return packet.append(payload);
}

std::string Welcome(std::uint8_t begin) {
  if ((begin & kWelcomes) == 0) return {};
  const std::string zip = (begin & kPacks) != 0 ? "1" : "0";
  const std::string policy = (begin & kByTime) != 0 ? "2" : "1";
  const std::string window = (begin & kGrants) != 0 ? "\twindow=8" : "";
  return Reply("TVL\t0\t7\t" + zip + "\t" + policy + "\tshort\tlong" + window);
}

// Calls everything that a client offers, with output buffers of exactly the required sizes.
void Use(CTVLClientOpr& client, const std::string& folder, unsigned int port) {
  client.Open(Text(folder), Text(""), Text("127.0.0.1"), port, Text("fuzz"), Text(""));
  int state = 0;
  int instance = 0;
  int pid = 0;
  const auto computer = std::make_unique<char[]>(64);
  const auto address = std::make_unique<char[]>(16);
  const auto user = std::make_unique<char[]>(65);
  client.Lock(Text("A"), &state, computer.get(), &instance, &pid, address.get(), user.get());
  int transferred = 1;
  client.GetRemote(Text("got"), Text("got"), &transferred);
  transferred = 0;
  client.PutRemote(Text("put"), Text("put"), &transferred);
  client.Unlock(Text("A"), &state, computer.get(), &instance, &pid, address.get(), user.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Server server;
  static const Folder folder;
  if (size == 0) return 0;
  server.Begin(Welcome(bytes[0]).append(reinterpret_cast<const char*>(bytes) + 1, size - 1));
  // Without a welcome, a client that announced a window would come a second time.
  const bool announces = (bytes[0] & (kGrants | kWelcomes)) == (kGrants | kWelcomes);
  TVLSetTransferWindow(announces ? 8 : 0);
  TVLSetPumpHook([](void* self) { static_cast<Server*>(self)->TakeTurn(); }, &server);
  {
    CTVLClientTcpOpr client;
    Use(client, folder.Path(), server.Port());
    TVLSetPumpHook(nullptr, nullptr);
    server.End();
  }
  return 0;
}
