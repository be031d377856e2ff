#ifndef TVL_TCP_PACKETS_H
#define TVL_TCP_PACKETS_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "tcp/protocol.h"
#include "tcp/socket.h"

namespace tvl {

// The one buffer in which packets are built and replies taken apart.
//
// A packet: Add2Pack as often as wanted, then PackSend. A reply: PackReceive, then the payload as bytes, or
// Unpack2Toks and its fields, which point into the buffer and are good until the next call but for StringTok
// and NumericTok.
class Packets {
 public:
  // `opened` is the connection's: a failed send clears it.
  Packets(CJSock& stream, int& opened) : stream_(stream), opened_(opened) {}

  void PackInitialize();

  // Puts a formatted text behind what the packet holds, or into a new one if `reset` is not 0. A packet that
  // would get too long is sent first without the text, which then begins the next one. 1; 0 if that failed or
  // the text alone is too long, and then it is not in the packet.
  [[gnu::format(printf, 3, 4)]] int Add2Pack(int reset, const char* format, ...);

  // Makes the packet one of a letter and `count` bytes that the caller has put at Chunk().
  void PackChunk(std::size_t count);
  char* Chunk() { return packBuffer + protocol::kDataOffset; }

  // 1 sent, 0 failed. The packet is empty then.
  int PackSend();

  // Sends a packet of one letter, and leaves the buffer and the reply in it alone. 1 sent, 0 failed.
  int SendLetter(char letter);

  // Sends a handshake with these texts. 1; 0 if it failed or the texts don't fit into the buffer.
  int SendHandshake(std::span<const char* const> texts);

  // 1 received; 0 if the connection is lost or the payload is empty. A payload without room ends the
  // connection.
  int PackReceive();

  // The last reply: its bytes, with a zero behind them, and their number.
  [[nodiscard]] const char* Payload() const { return packBuffer; }
  [[nodiscard]] std::size_t PayloadLength() const { return payloadLength_; }

  // Splits the reply at runs of the delimiters, into 31 fields at most.
  void Unpack2Toks(const char* delimiters);

  // As if a reply without fields had come.
  void DropReply();

  const char* StringTok(int index, const char* defaultValue) const;

  // The field as a number with an optional sign, with blanks around it; the default for anything else. What
  // 32 bits don't hold becomes the nearest that they do.
  int NumericTok(int index, int defaultValue) const;
  std::int64_t WideNumericTok(int index, std::int64_t defaultValue) const;

 private:
  char packBuffer[protocol::kPackBufferSize] = {};
  std::size_t packLength = protocol::kHeadSize;  // of the packet so far, head included
  char* tokens[protocol::kTokenRoom] = {};
  std::int32_t tokenCount = 0;

  std::size_t payloadLength_ = 0;
  CJSock& stream_;
  int& opened_;
};

// The decimal number at the beginning of a text, behind blanks and a sign; 0 if there is none. What 64 bits
// don't hold becomes the nearest that they do.
[[nodiscard]] std::int64_t LeadingNumber(const char* text);

[[nodiscard]] int NearestInt(std::int64_t value);

}  // namespace tvl

#endif
