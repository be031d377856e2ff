#ifndef TVL_TCP_PACKETS_H
#define TVL_TCP_PACKETS_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "tcp/protocol.h"
#include "tcp/socket.h"

namespace tvl {

// The buffer in which packets are built and replies are parsed.
//
// To send a packet, call Add2Pack as often as needed, then PackSend. To receive a reply, call PackReceive,
// then use the payload as bytes, or call Unpack2Toks and use the fields, which point into the buffer and are
// valid until the next call other than StringTok and NumericTok.
class Packets {
 public:
  // `opened` belongs to the connection. A failed send clears it.
  Packets(CJSock& stream, int& opened) : stream_(stream), opened_(opened) {}

  void PackInitialize();

  // Appends a formatted text to the packet, or to a new packet if `reset` is not 0. If the packet would
  // become too long, sends it first and begins a new one with the text. Returns 1, or 0 if sending failed or
  // the text alone is too long; then the text is not in the packet.
  [[gnu::format(printf, 3, 4)]] int Add2Pack(int reset, const char* format, ...);

  // Sets the packet to a letter and `count` bytes that the caller has copied to Chunk().
  void PackChunk(std::size_t count);
  char* Chunk() { return packBuffer + protocol::kDataOffset; }

  // Sends the packet and empties it. Returns 1, or 0 on failure.
  int PackSend();

  // Sends a packet of one letter without changing the buffer or the reply in it. Returns 1, or 0 on failure.
  int SendLetter(char letter);

  // Sends a handshake with these texts. Returns 1, or 0 if this failed or the texts do not fit into the
  // buffer.
  int SendHandshake(std::span<const char* const> texts);

  // Receives a reply. Returns 1, or 0 if the connection is lost or the payload is empty. A payload that does
  // not fit ends the connection.
  int PackReceive();

  // Return the bytes of the last reply, followed by a zero, and their number.
  [[nodiscard]] const char* Payload() const { return packBuffer; }
  [[nodiscard]] std::size_t PayloadLength() const { return payload_length_; }

  // Splits the reply at runs of delimiters into at most 31 fields.
  void Unpack2Toks(const char* delimiters);

  // Acts as if a reply without fields had arrived.
  void DropReply();

  const char* StringTok(int index, const char* defaultValue) const;

  // Returns the field as a number with an optional sign and blanks around it, or the default if it is
  // anything else. The number is limited to the range of 32 bits.
  int NumericTok(int index, int defaultValue) const;
  std::int64_t WideNumericTok(int index, std::int64_t defaultValue) const;

 private:
  char packBuffer[protocol::kPackBufferSize] = {};
  std::size_t packLength = protocol::kHeadSize;  // length of the packet so far, including the head
  char* tokens[protocol::kTokenSize] = {};
  std::int32_t tokenCount = 0;

  std::size_t payload_length_ = 0;
  CJSock& stream_;
  int& opened_;
};

// Returns the decimal number at the start of a text, after blanks and an optional sign; 0 if there is none.
// The number is limited to the range of 64 bits.
[[nodiscard]] std::int64_t LeadingNumber(const char* text);

[[nodiscard]] int NearestInt(std::int64_t value);

}  // namespace tvl

#endif
