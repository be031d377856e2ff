#ifndef TVL_TCP_PROTOCOL_H
#define TVL_TCP_PROTOCOL_H

#include <cstddef>
#include <string_view>

// The packets between client and server.
//
// A packet consists of a head of four bytes and a payload. Bytes 1 and 2 of the head are a length, high byte
// first: from the client that of the whole packet, from the server that of the payload alone. Bytes 0 and 3
// have a meaning only in the handshake. Client and server alternate: the client sends a packet, and the
// server answers with one.
namespace tvl::protocol {

constexpr std::size_t kHeadSize = 4;

// One buffer is used for both directions. A received payload is followed by a zero.
constexpr std::size_t kPackBufferSize = 40960;
constexpr std::size_t kMostPayload = kPackBufferSize - 1;

// The longest text packet, including the head.
constexpr std::size_t kMostTextPacket = 32762;

// Bytes of a file in one packet of a put, after head and letter.
constexpr std::size_t kPutChunk = 32760;
constexpr std::size_t kDataOffset = kHeadSize + 1;

// Size of the length that precedes the bytes of a file in a get.
constexpr std::size_t kChunkHeadSize = 2;

// The handshake: head with a mark, this text, then four texts each with its zero: client class, computer,
// user, client tag; a fifth may announce a transfer window (window.h). A shorter one is filled up with zeros
// to the least size, which its length does not count.
constexpr char kHandshakeMark = '#';
constexpr std::string_view kHandshakeText = "*00";
constexpr std::size_t kLeastHandshake = 32;

// Field 0 of the reply to a handshake: this, a slash and the server's version. Servers that do not report a
// version leave out both, and clients that do not ask for it skip the field.
constexpr std::string_view kServerName = "TVL";

// First byte of the payload from the client, followed by a name, a tab and the stamp of the local copy:
constexpr char kGet = 'G';
constexpr char kPut = 'P';

// Followed by the name of an object:
constexpr char kLock = 'L';
constexpr char kUnlock = 'l';

// Acknowledges a chunk of a get, or precedes a chunk of a put; without a chunk it ends a put.
constexpr char kData = '0';

// The last packet, which has no answer.
constexpr char kEnd = 'X';

// A sign of life: a command that no server knows, and that each answers as such.
constexpr char kPing = '?';
constexpr std::string_view kUnknownCommand("\0", 1);

// Answer to a chunk of a get whose file cannot be written locally, to the first one only where there is no
// transfer window. Ends the get without an answer; with a window, the server repeats it after the last chunk
// that it has sent.
constexpr char kAbandon[] = "21";

constexpr char kFieldSeparator[] = "\t";
constexpr char kForcedStamp[] = "@";  // of a missing copy, or one to be replaced regardless of its contents

// Number of fields of a reply; the last one stays unused.
constexpr int kTokenSize = 32;

constexpr std::size_t ReadLength(const char* at) {
  return static_cast<std::size_t>(static_cast<unsigned char>(at[0])) << 8U |
         static_cast<unsigned char>(at[1]);
}

constexpr void WriteLength(char* at, std::size_t length) {
  at[0] = static_cast<char>(static_cast<unsigned char>(length >> 8U));
  at[1] = static_cast<char>(static_cast<unsigned char>(length));
}

}  // namespace tvl::protocol

#endif
