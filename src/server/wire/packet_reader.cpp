#include "server/wire/packet_reader.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "server/wire/proxy_header.h"
#include "tcp/protocol.h"

namespace tvl::server {
namespace {

// Head, text, and the zeros of four empty texts.
constexpr std::size_t kLeastHandshakeLength = protocol::kHeadSize + protocol::kHandshakeText.size() + 4;

bool HasMark(std::string_view packet) {
  return packet[0] == protocol::kHandshakeMark &&
         packet.substr(protocol::kHeadSize, protocol::kHandshakeText.size()) == protocol::kHandshakeText;
}

}  // namespace

std::span<char> PacketReader::FreeSpace() {
  const std::size_t waiting = end_ - begin_;
  if (begin_ > 0) std::memmove(bytes_.data(), bytes_.data() + begin_, waiting);
  begin_ = 0;
  end_ = waiting;
  const std::size_t wanted = std::max({kLeastSize, needed_, waiting + 1});
  if (bytes_.size() < wanted) bytes_.resize(wanted);
  return {bytes_.data() + end_, bytes_.size() - end_};
}

void PacketReader::Arrived(std::size_t count) {
  end_ += count;
}

PacketReader::Result PacketReader::Need(std::size_t size) {
  needed_ = size;
  return Result::kNeedsMore;
}

std::string_view PacketReader::Take(std::size_t size) {
  const std::string_view packet = Waiting().substr(0, size);
  begin_ += size;
  needed_ = 0;
  return packet;
}

PacketReader::Result PacketReader::Next(std::string_view& payload) {
  const std::string_view waiting = Waiting();
  if (waiting.size() < protocol::kHeadSize) return Need(protocol::kHeadSize);
  const std::size_t length = protocol::ReadLength(waiting.data() + 1);
  if (length < protocol::kHeadSize) return Result::kBroken;
  if (waiting.size() < length) return Need(length);
  payload = Take(length).substr(protocol::kHeadSize);
  return Result::kPacket;
}

PacketReader::Result PacketReader::NextHandshake(std::string_view& packet) {
  const std::string_view waiting = Waiting();
  if (waiting.size() < protocol::kLeastHandshake) return Need(protocol::kLeastHandshake);
  const std::size_t length = protocol::ReadLength(waiting.data() + 1);
  if (length < kLeastHandshakeLength || !HasMark(waiting)) return Result::kBroken;
  if (waiting.size() < length) return Need(length);
  packet = Take(std::max(length, protocol::kLeastHandshake)).substr(0, length);
  return Result::kPacket;
}

PacketReader::Result PacketReader::NextProxyHeader(std::string_view& header) {
  const std::string_view waiting = Waiting();
  if (waiting.size() < kProxyHeadSize) return Need(kProxyHeadSize);
  const std::optional<std::size_t> size = ProxyHeaderSize(waiting);
  if (!size) return Result::kBroken;
  if (waiting.size() < *size) return Need(*size);
  header = Take(*size);
  return Result::kPacket;
}

void PacketReader::ShrinkForWait() {
  if (bytes_.size() <= kLeastSize) Shrink();
}

void PacketReader::Shrink() {
  if (begin_ < end_) return;
  bytes_ = std::vector<char>();
  begin_ = end_ = 0;
}

}  // namespace tvl::server
