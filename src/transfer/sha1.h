#ifndef TVL_TRANSFER_SHA1_H
#define TVL_TRANSFER_SHA1_H

#include <cstdint>

#include "platform/files.h"

// SHA-1 by FIPS 180-4, and the signatures made of it: 40 lower-case hexadecimal digits, in buffers of 41
// bytes.
//
// The context lives on the caller's stack and owns nothing; calls on different contexts may run in any
// threads.

struct Sha1Context {
  std::uint32_t state[5];    // the running hash words
  std::uint32_t blocks;      // blocks of 64 bytes transformed: a message has less than 2^38 bytes
  unsigned char buffer[64];  // the block being filled; behind Sha1Final its first 20 bytes are the digest
  std::int32_t fill;         // bytes in `buffer`, 0 to 64
};

constexpr unsigned int kSignatureRoom = 41;

void Sha1Init(Sha1Context* context);

// Takes `count` bytes in. With null bytes it only transforms a full buffer.
void Sha1Update(Sha1Context* context, const void* bytes, unsigned int count);

void Sha1Final(Sha1Context* context);

// Sha1Final, with the digest as a signature in `output`.
void Sha1Signature(Sha1Context* context, char* output);

// Signature of a file. 1; 0, with an empty `output`, if the file can't be opened or read.
int Sha1OfFile(const char* path, char* output);

// The same of an open file, from its position to its end.
int Sha1OfHandle(HANDLE file, char* output);

// Signature of a text: the digest of its length in hexadecimal digits and its bytes, as one message.
// Always 1.
int Sha1OfString(const char* text, char* output);

#endif
