#include "server/raw_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "tcp/protocol.h"

namespace {

using tvl::protocol::ReadLength;

constexpr timeval kPatience = {30, 0};
constexpr std::size_t kPutChunk = 32760;
constexpr std::size_t kMostPayload = 40959;

template <typename Value>
void SetOption(const tvl::Descriptor& socket, int level, int name, const Value& value) {
  setsockopt(socket.Get(), level, name, &value, sizeof value);
}

sockaddr_in Address(const char* host, unsigned short port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, host, &address.sin_addr);
  return address;
}

std::string Head(char mark, std::size_t length, char last) {
  return {mark, static_cast<char>(length >> 8U), static_cast<char>(length), last};
}

}  // namespace

RawClient::RawClient(unsigned short port, const char* from)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  SetOption(socket_, SOL_SOCKET, SO_RCVTIMEO, kPatience);
  SetOption(socket_, SOL_SOCKET, SO_SNDTIMEO, kPatience);
  SetOption(socket_, IPPROTO_TCP, TCP_NODELAY, 1);
  const sockaddr_in own = Address(from, 0);
  const sockaddr_in server = Address("127.0.0.1", port);
  if (bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
      connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
    throw std::runtime_error("no connection");
  }
}

std::string RawClient::HandshakeBytes(const ClientNames& names) {
  std::string payload = "*00";
  for (const std::string* text : {&names.client_class, &names.computer, &names.user, &names.tag}) {
    payload += *text + '\0';
  }
  if (!names.window.empty()) payload += names.window + '\0';
  std::string packet = Head('#', payload.size() + 4, '\0') + payload;
  packet.resize(std::max<std::size_t>(packet.size(), 32));
  return packet;
}

std::string RawClient::PacketBytes(std::string_view payload) {
  return Head('?', payload.size() + 4, '?') + std::string(payload);
}

void RawClient::Send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0) throw std::runtime_error("not sent");
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::string RawClient::ReceiveBytes(std::size_t count) const {
  std::string bytes(count, '\0');
  const ssize_t got = recv(socket_.Get(), bytes.data(), count, MSG_WAITALL);
  if (got < 0 && errno == EAGAIN) throw std::runtime_error("nothing came");
  bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
  return bytes;
}

std::string RawClient::Receive() const {
  const std::string head = ReceiveBytes(4);
  const std::size_t length = head.size() < 4 ? 0 : ReadLength(head.data() + 1);
  if (length > kMostPayload) throw std::runtime_error("payload too long");
  std::string payload = ReceiveBytes(length);
  if (payload.empty() || payload.size() < length) throw std::runtime_error("the end in place of a packet");
  return payload;
}

std::string RawClient::Lock(const std::string& object) const {
  const std::string answer = Ask("L" + object);
  return answer.substr(0, answer.find('\t', 2));
}

void RawClient::Leave() const {
  SendPacket("X");
  if (!IsEnded()) throw std::runtime_error("an answer in place of the end");
}

RawClient::Fetched RawClient::Fetch(std::string answer) const {
  Fetched fetched;
  fetched.code = std::atoi(answer.c_str());
  if (fetched.code != 0) return fetched;
  answer.erase(0, answer.find('\0', 2) + 1);  // up to the first chunk
  while (const std::size_t length = ReadLength(answer.data())) {
    if (answer.size() != length + 2) throw std::runtime_error("chunk of another length");
    fetched.bytes += answer.substr(2);
    answer = Ask("0");
  }
  return fetched;
}

int RawClient::Put(const std::string& name, std::string_view bytes) const {
  int code = std::atoi(Ask("P" + name + "\t@").c_str());
  while (code == 0) {
    const std::string_view piece = bytes.substr(0, kPutChunk);
    bytes.remove_prefix(piece.size());
    code = std::atoi(Ask("0" + std::string(piece)).c_str());
    if (piece.empty()) break;
  }
  return code;
}

void RawClient::CloseWriting() const {
  shutdown(socket_.Get(), SHUT_WR);
}

void RawClient::Reset() {
  SetOption(socket_, SOL_SOCKET, SO_LINGER, linger{1, 0});
  const tvl::Descriptor closed = std::move(socket_);
}

void RawClient::AskAheadFor(const std::string& name) const {
  SetOption(socket_, SOL_SOCKET, SO_RCVBUF, 2048);
  std::string packets = PacketBytes("G" + name + "\t@");
  for (int chunks = 0; chunks < 2000; ++chunks) packets += PacketBytes("0");
  Send(packets);
}
