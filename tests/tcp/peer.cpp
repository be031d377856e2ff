#include "tcp/peer.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

#include "support/sockets.h"
#include "tcp/protocol.h"
#include "tcp/script.h"

namespace {

constexpr int kPatience = 20;  // seconds

#ifdef _WIN32
using Length = int;
#else
using Length = std::size_t;
#endif

std::string Counted(const std::string& data) {
  return std::string{static_cast<char>(data.size() >> 8U), static_cast<char>(data.size())} + data;
}

}  // namespace

std::string Peer::Read(std::size_t count) const {
  std::string bytes(count, 0);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got = recv(descriptor_, bytes.data() + done, static_cast<Length>(count - done), 0);
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  bytes.resize(done);
  return bytes;
}

std::string Peer::ReadPacket() const {
  const std::string head = Read(4);
  if (head.size() < 4) return "end of the stream";
  const std::size_t length = tvl::protocol::ReadLength(&head[1]);
  return Read(length < 4 ? 0 : length - 4);
}

bool Peer::AtEnd() const {
  char next = 0;
  return recv(descriptor_, &next, 1, 0) == 0;
}

void Peer::Send(std::string_view bytes, int flags) const {
  while (!bytes.empty()) {
    const ssize_t sent =
        send(descriptor_, bytes.data(), static_cast<Length>(bytes.size()), flags | MSG_NOSIGNAL);
    if (sent <= 0) return;  // the client is gone; the test checks its results elsewhere
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void Peer::EndSending() const {
  shutdown(descriptor_, SHUT_WR);
}

void Peer::Welcome(int zip, int policy, int window) const {
  Read(tvl::protocol::kLeastHandshake);
  std::string reply = "TVL\t0\t7\t" + std::to_string(zip) + "\t" + std::to_string(policy) + "\tshort\tlong";
  if (window > 0) reply += "\twindow=" + std::to_string(window);
  Send(Reply(reply));
}

void Peer::HangUp() {
  if (descriptor_ >= 0) CloseSocket(std::exchange(descriptor_, -1));
}

void Peer::Reset() {
  const linger at_once = {1, 0};
  SetSocketOption(descriptor_, SOL_SOCKET, SO_LINGER, at_once);
  HangUp();
}

std::string Noise(std::size_t size) {
  std::mt19937 random(7);
  std::string bytes(size, 0);
  for (char& each : bytes) each = static_cast<char>(random());
  return bytes;
}

std::string FirstChunk(const std::string& data) {
  return Reply(std::string("0\0001000\0", 7) + Counted(data));
}

std::string NextChunk(const std::string& data, const std::string& time) {
  return Reply(Counted(data) + time);
}

Server::Server(std::vector<Part> parts, const char* address) {
  listener_ = OpenSocket(std::string_view(address).find(':') == std::string_view::npos ? AF_INET : AF_INET6);
  addrinfo hints = {};
  hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(address, "0", &hints, &found) != 0) return;
  // Connections inherit these options, or get them below; the timeout also applies to accept().
  SetReadTimeout(listener_, kPatience);
  SetSocketOption(listener_, IPPROTO_TCP, TCP_NODELAY, 1);
  const bool bound = bind(listener_, found->ai_addr, static_cast<socklen_t>(found->ai_addrlen)) == 0 &&
                     listen(listener_, 16) == 0;
  freeaddrinfo(found);
  if (!bound) return;
  sockaddr_storage name = {};
  socklen_t size = sizeof name;
  getsockname(listener_, reinterpret_cast<sockaddr*>(&name), &size);
  port_ = ntohs(reinterpret_cast<sockaddr_in*>(&name)->sin_port);
  thread_ = std::thread([this, parts = std::move(parts)] { Play(parts); });
}

void Server::Play(const std::vector<Part>& parts) {
  const int listener = listener_;
  for (const Part& part : parts) {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (&part == parts.data()) met_.set_value();
    if (descriptor < 0) return;
    SetReadTimeout(descriptor, kPatience);
    Peer peer(descriptor);
    part(peer);
  }
}

Server::~Server() {
  Join();
  if (listener_ >= 0) CloseSocket(listener_);
}

void Server::Join() {
  if (!thread_.joinable()) return;
  met_.get_future().wait();
  StopListening(listener_);  // ends the wait for clients that never come
  thread_.join();
}

Server::Part AnswersLocks(const std::vector<std::string>& replies, const std::function<void()>& before_each) {
  return [=](Peer& peer) {
    peer.Welcome();
    for (const std::string& reply : replies) {
      EXPECT_EQ(peer.ReadPacket(), "LA");
      before_each();
      peer.Send(Reply(reply));
    }
    EXPECT_EQ(peer.ReadPacket(), "X") << "nothing else was asked for";
    EXPECT_TRUE(peer.AtEnd());
  };
}
