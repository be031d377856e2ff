#ifndef TVL_TRANSFER_SHA1_H
#define TVL_TRANSFER_SHA1_H

#include <cstdint>

#include "platform/files.h"

// SHA-1 by FIPS 180-4, and signatures derived from it: 40 lower-case hexadecimal digits, in buffers of 41
// bytes.
//
// A context owns no resources. Different contexts may be used on different threads.

struct Sha1Context {
  std::uint32_t state[5];    // the running hash words
  std::uint32_t blocks;      // blocks of 64 bytes transformed: a message has less than 2^38 bytes
  unsigned char buffer[64];  // the block being filled; after Sha1Final its first 20 bytes are the digest
  std::int32_t fill;         // bytes in `buffer`, 0 to 64
};

constexpr unsigned int kSignatureSize = 41;

void Sha1Init(Sha1Context* context);

// Adds `count` bytes to the message. With null bytes, only transforms a full buffer.
void Sha1Update(Sha1Context* context, const void* bytes, unsigned int count);

void Sha1Final(Sha1Context* context);

// Calls Sha1Final and stores the digest as a signature in `output`.
void Sha1Signature(Sha1Context* context, char* output);

// Computes the signature of a file. Returns 1, or 0 with an empty `output` if the file cannot be opened or
// read.
int Sha1OfFile(const char* path, char* output);

// Computes the signature of an open file from its position to its end.
int Sha1OfHandle(HANDLE file, char* output);

// Computes the signature of a text: the digest of its length in hexadecimal digits followed by its bytes.
// Always returns 1.
int Sha1OfString(const char* text, char* output);

#endif
