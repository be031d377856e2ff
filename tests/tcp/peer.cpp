#include "tcp/peer.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "tcp/script.h"

namespace {

constexpr int kPatienceSeconds = 20;

void SetPatience(int descriptor, int option) {
  const timeval patience = {kPatienceSeconds, 0};
  setsockopt(descriptor, SOL_SOCKET, option, &patience, sizeof patience);
}

std::string Counted(std::string_view data) {
  const std::string count = {static_cast<char>(data.size() >> 8U), static_cast<char>(data.size())};
  return count + std::string(data);
}

}  // namespace

Listener::Listener(const char* address) {
  addrinfo hints = {};
  hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(address, "0", &hints, &found) != 0) return;
  descriptor_ = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_storage bound = {};
  socklen_t size = sizeof bound;
  if (bind(descriptor_, found->ai_addr, found->ai_addrlen) == 0 && listen(descriptor_, 16) == 0 &&
      getsockname(descriptor_, reinterpret_cast<sockaddr*>(&bound), &size) == 0) {
    port_ = ntohs(reinterpret_cast<sockaddr_in*>(&bound)->sin_port);
  } else {
    close(std::exchange(descriptor_, -1));
  }
  freeaddrinfo(found);
  SetPatience(descriptor_, SO_RCVTIMEO);  // of accept()
}

Listener::~Listener() {
  if (descriptor_ >= 0) close(descriptor_);
}

int Listener::Accept() const {
  return accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
}

Peer::Peer(int descriptor) : descriptor_(descriptor) {
  const int on = 1;
  setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  SetPatience(descriptor_, SO_RCVTIMEO);
  SetPatience(descriptor_, SO_SNDTIMEO);
}

Peer::~Peer() {
  HangUp();
}

std::string Peer::Read(std::size_t count) const {
  std::string bytes(count, 0);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got = recv(descriptor_, bytes.data() + done, count - done, 0);
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  bytes.resize(done);
  return bytes;
}

std::string Peer::ReadPacket() const {
  const std::string head = Read(4);
  if (head.size() < 4) return "end of the stream";
  const auto length = static_cast<std::size_t>(static_cast<unsigned char>(head[1])) * 256 +
                      static_cast<unsigned char>(head[2]);
  return Read(length < 4 ? 0 : length - 4);
}

std::string Peer::ReadRest() const {
  std::string rest;
  for (std::string more = Read(1); !more.empty(); more = Read(1)) rest += more;
  return rest;
}

void Peer::Send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;  // the client has gone; what it did shows elsewhere
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void Peer::SendByteByByte(std::string_view bytes) const {
  for (std::size_t i = 0; i < bytes.size(); ++i) Send(bytes.substr(i, 1));
}

bool Peer::SendUrgent(char byte) const {
  return send(descriptor_, &byte, 1, MSG_OOB | MSG_NOSIGNAL) == 1;
}

void Peer::EndSending() const {
  shutdown(descriptor_, SHUT_WR);
}

void Peer::Welcome(int zip, int policy) const {
  const std::string head = Read(32);
  const auto length = static_cast<std::size_t>(static_cast<unsigned char>(head.at(1))) * 256 +
                      static_cast<unsigned char>(head.at(2));
  if (length > 32) Read(length - 32);
  Send(Reply("TVL\t0\t7\t" + std::to_string(zip) + "\t" + std::to_string(policy) + "\tshort\tlong"));
}

void Peer::HangUp() {
  if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
}

void Peer::Reset() {
  const linger at_once = {1, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  HangUp();
}

std::string FirstChunk(std::string_view data, const std::string& time) {
  return Reply(std::string("0\0", 2) + time + '\0' + Counted(data));
}

std::string NextChunk(std::string_view data, const std::string& time) {
  return Reply(Counted(data) + time);
}

Server::Server(Part part, const char* address) : listener_(address) {
  if (!listener_.IsOpen()) throw std::runtime_error("can't listen");
  thread_ = std::thread([this, part = std::move(part)] {
    const int descriptor = listener_.Accept();
    if (descriptor < 0) return;
    Peer peer(descriptor);
    part(peer);
  });
}

void Server::Join() {
  if (thread_.joinable()) thread_.join();
}
