#include "server/raw_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace {

constexpr long kPatienceSeconds = 30;

std::string Length(std::size_t length) {
  return {static_cast<char>(length >> 8U), static_cast<char>(length)};
}

std::size_t ReadLength(std::string_view at) {
  return static_cast<std::size_t>(static_cast<unsigned char>(at[0])) << 8U |
         static_cast<unsigned char>(at[1]);
}

}  // namespace

RawClient::RawClient(unsigned short port, const char* from)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const timeval patience = {kPatienceSeconds, 0};
  setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  const int yes = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  sockaddr_in own = {};
  own.sin_family = AF_INET;
  inet_pton(AF_INET, from, &own.sin_addr);
  if (bind(socket_, reinterpret_cast<sockaddr*>(&own), sizeof own) != 0 ||
      connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("no connection");
  }
}

RawClient::~RawClient() {
  if (socket_ >= 0) close(socket_);
}

RawClient::RawClient(RawClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}

std::string RawClient::HandshakeBytes(const Names& names) {
  std::string payload = "*00";
  for (const std::string* text : {&names.client_class, &names.computer, &names.user, &names.tag}) {
    payload += *text + '\0';
  }
  std::string packet = '#' + Length(payload.size() + 4) + '\0' + payload;
  packet.resize(std::max<std::size_t>(packet.size(), 32));
  return packet;
}

std::string RawClient::PacketBytes(std::string_view payload) {
  return '?' + Length(payload.size() + 4) + '?' + std::string(payload);
}

RawClient RawClient::Entered(unsigned short port, const Names& names, const char* from) {
  RawClient client(port, from);
  client.Send(HandshakeBytes(names));
  const std::optional<std::string> reply = client.Receive();
  if (!reply || !reply->starts_with("TVL\t0\t")) throw std::runtime_error("refused");
  return client;
}

void RawClient::Send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0) throw std::runtime_error("not sent");
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::string RawClient::ReceiveBytes(std::size_t count) const {
  std::string bytes(count, '\0');
  std::size_t got = 0;
  while (got < count) {
    const ssize_t more = recv(socket_, bytes.data() + got, count - got, 0);
    if (more < 0 && errno == EAGAIN) throw std::runtime_error("nothing came");
    if (more <= 0) break;
    got += static_cast<std::size_t>(more);
  }
  bytes.resize(got);
  return bytes;
}

std::optional<std::string> RawClient::Receive() const {
  const std::string head = ReceiveBytes(4);
  if (head.size() < 4) return std::nullopt;
  const std::size_t length = ReadLength(std::string_view(head).substr(1));
  std::string payload = ReceiveBytes(length);
  if (payload.size() < length) return std::nullopt;
  return payload;
}

std::string RawClient::Ask(std::string_view payload) const {
  SendPacket(payload);
  const std::optional<std::string> answer = Receive();
  if (!answer) throw std::runtime_error("the connection ended in place of an answer");
  return *answer;
}

bool RawClient::IsEnded() const {
  return ReceiveBytes(1).empty();
}

bool RawClient::EndsWithin(int milliseconds) const {
  pollfd readable = {socket_, POLLIN, 0};
  return poll(&readable, 1, milliseconds) > 0 && IsEnded();
}

void RawClient::Leave() const {
  SendPacket("X");
  if (!IsEnded()) throw std::runtime_error("an answer in place of the end");
}

RawClient::Fetched RawClient::Get(const std::string& name, const std::string& stamp) const {
  std::string answer = Ask("G" + name + "\t" + stamp);
  Fetched fetched;
  fetched.code = std::atoi(answer.c_str());
  if (fetched.code != 0) return fetched;
  if (answer.size() > 40959) throw std::runtime_error("payload too long");
  const std::size_t chunk_at = answer.find('\0', 2) + 1;
  fetched.time = answer.substr(2, chunk_at - 3);
  answer.erase(0, chunk_at);
  while (ReadLength(answer) > 0) {
    if (answer.size() != ReadLength(answer) + 2) throw std::runtime_error("chunk of another length");
    fetched.bytes += answer.substr(2);
    answer = Ask("0");
    if (answer.size() > 40959) throw std::runtime_error("payload too long");
    if (ReadLength(answer) == 0) fetched.time = answer.substr(2);
  }
  return fetched;
}

int RawClient::Put(const std::string& name, std::string_view bytes, const std::string& stamp,
                   std::size_t chunk) const {
  int code = std::atoi(Ask("P" + name + "\t" + stamp).c_str());
  while (code == 0) {
    const std::string_view piece = bytes.substr(0, chunk);
    bytes.remove_prefix(piece.size());
    code = std::atoi(Ask("0" + std::string(piece)).c_str());
    if (piece.empty()) break;
  }
  return code;
}

void RawClient::CloseWriting() const {
  shutdown(socket_, SHUT_WR);
}

void RawClient::Reset() {
  const linger hard = {1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
  close(std::exchange(socket_, -1));
}

void RawClient::AskAheadFor(const std::string& name) const {
  constexpr int kLittle = 2048;
  setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &kLittle, sizeof kLittle);
  std::string packets = PacketBytes("G" + name + "\t@");
  for (int chunks = 0; chunks < 2000; ++chunks) packets += PacketBytes("0");
  Send(packets);
}
