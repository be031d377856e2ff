#include "tcp/packets.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>

namespace tvl {
namespace {

// Parses an optional sign and digits, and advances `at`. Returns false if there is no digit.
bool TakeNumber(const char*& at, std::int64_t& value) {
  const bool negative = *at == '-';
  if (negative || *at == '+') ++at;
  const char* digits = at;
  at += std::strspn(at, "0123456789");
  if (at == digits) return false;
  const auto result = std::from_chars(negative ? digits - 1 : digits, at, value);
  if (result.ec != std::errc::result_out_of_range) return true;
  using Limits = std::numeric_limits<std::int64_t>;
  value = negative ? Limits::min() : Limits::max();
  return true;
}

}  // namespace

std::int64_t LeadingNumber(const char* text) {
  text += std::strspn(text, " \t\n\v\f\r");
  std::int64_t value = 0;
  return TakeNumber(text, value) ? value : 0;
}

int NearestInt(std::int64_t value) {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

void Packets::PackInitialize() {
  packLength = protocol::kHeadSize;
}

int Packets::Add2Pack(int reset, const char* format, ...) {
  if (reset != 0) PackInitialize();
  char text[protocol::kMostTextPacket - protocol::kHeadSize + 1];
  std::va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const auto length = static_cast<std::size_t>(written);
  if (written < 0 || length >= sizeof text) return 0;
  if (packLength + length > protocol::kMostTextPacket && PackSend() == 0) return 0;
  std::memcpy(packBuffer + packLength, text, length + 1);
  packLength += length;
  return 1;
}

void Packets::PackChunk(std::size_t count) {
  packBuffer[protocol::kHeadSize] = protocol::kData;
  packLength = protocol::kDataOffset + count;
}

int Packets::PackSend() {
  protocol::WriteLength(packBuffer + 1, packLength);
  if (stream_.SendAll(packBuffer, static_cast<int>(packLength)) == 0) opened_ = 0;
  PackInitialize();
  return opened_;
}

int Packets::SendLetter(char letter) {
  char packet[protocol::kDataOffset] = {};
  protocol::WriteLength(packet + 1, sizeof packet);
  packet[protocol::kHeadSize] = letter;
  if (stream_.SendAll(packet, sizeof packet) == 0) opened_ = 0;
  return opened_;
}

int Packets::SendHandshake(std::span<const char* const> texts) {
  using protocol::kHandshakeText;
  std::memset(packBuffer, 0, protocol::kLeastHandshake);
  packBuffer[0] = protocol::kHandshakeMark;
  kHandshakeText.copy(packBuffer + protocol::kHeadSize, kHandshakeText.size());
  std::size_t length = protocol::kHeadSize + kHandshakeText.size();
  for (const char* text : texts) {
    const std::size_t size = std::strlen(text) + 1;
    if (size > sizeof packBuffer - length) return 0;
    std::memcpy(packBuffer + length, text, size);
    length += size;
  }
  protocol::WriteLength(packBuffer + 1, length);
  return stream_.SendAll(packBuffer, static_cast<int>(std::max(length, protocol::kLeastHandshake)));
}

int Packets::PackReceive() {
  payload_length_ = 0;
  if (stream_.ReceiveAll(packBuffer, protocol::kHeadSize) < 0) return 0;
  PackInitialize();
  const std::size_t length = protocol::ReadLength(packBuffer + 1);
  if (length > protocol::kMostPayload) {
    stream_.Abandon();
    return 0;
  }
  if (stream_.ReceiveAll(packBuffer, static_cast<int>(length)) <= 0) return 0;
  packBuffer[length] = 0;
  payload_length_ = length;
  return 1;
}

void Packets::Unpack2Toks(const char* delimiters) {
  DropReply();
  char* at = packBuffer;
  while (tokenCount < protocol::kTokenSize - 1) {
    at += std::strspn(at, delimiters);
    if (*at == 0) return;
    tokens[tokenCount++] = at;
    at += std::strcspn(at, delimiters);
    if (*at == 0) return;
    *at++ = 0;
  }
}

void Packets::DropReply() {
  std::fill(std::begin(tokens), std::end(tokens), nullptr);
  tokenCount = 0;
}

const char* Packets::StringTok(int index, const char* defaultValue) const {
  if (index < 0 || index >= protocol::kTokenSize || tokens[index] == nullptr) return defaultValue;
  return tokens[index];
}

std::int64_t Packets::WideNumericTok(int index, std::int64_t defaultValue) const {
  const char* at = StringTok(index, "");
  at += std::strspn(at, " ");
  std::int64_t value = 0;
  if (!TakeNumber(at, value)) return defaultValue;
  at += std::strspn(at, " ");
  return *at == 0 ? value : defaultValue;
}

int Packets::NumericTok(int index, int defaultValue) const {
  return NearestInt(WideNumericTok(index, defaultValue));
}

}  // namespace tvl
