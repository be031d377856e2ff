#include "transfer/sha1.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/low_file.h"
#include "transfer/sha1_transform.h"

namespace {

constexpr std::size_t kBlock = 64;
constexpr std::size_t kLengthAt = 56;  // the last eight bytes of the last block contain the length
constexpr std::size_t kDigest = 20;
constexpr std::uint32_t kInitial[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};

// Small enough to stay in the second-level cache while it is hashed.
constexpr unsigned int kReadPiece = 128 * 1024;

tvl::Sha1Transform BestTransform() {
  const tvl::Sha1Transform by_processor = tvl::ProcessorSha1Transform();
  return by_processor != nullptr ? by_processor : tvl::Sha1TransformPortable;
}

void Transform(Sha1Context* context, const unsigned char* blocks, std::size_t count) {
  static const tvl::Sha1Transform transform = BestTransform();
  transform(context->state, blocks, count);
  context->blocks += static_cast<std::uint32_t>(count);
}

std::size_t Fill(const Sha1Context* context) {
  return static_cast<std::size_t>(context->fill);
}

void Flush(Sha1Context* context) {
  if (Fill(context) < kBlock) return;
  Transform(context, context->buffer, 1);
  context->fill = 0;
}

// Copies input to `buffer` until it is full or the input is used up. Returns the number of bytes copied.
std::size_t TopUp(Sha1Context* context, const unsigned char* bytes, std::size_t count) {
  const std::size_t taken = std::min(count, kBlock - Fill(context));
  std::memcpy(context->buffer + Fill(context), bytes, taken);
  context->fill += static_cast<std::int32_t>(taken);
  return taken;
}

void ZeroUpTo(Sha1Context* context, std::size_t end) {
  std::memset(context->buffer + Fill(context), 0, end - Fill(context));
  context->fill = static_cast<std::int32_t>(end);
}

// Stores `count` bytes of `value`, the high byte first.
void StoreBigEndian(std::uint64_t value, std::size_t count, unsigned char* bytes) {
  for (std::size_t i = count; i > 0; value >>= 8U) bytes[--i] = static_cast<unsigned char>(value);
}

void WriteSignature(const Sha1Context& context, char* output) {
  constexpr char digits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < kDigest; ++i) {
    *output++ = digits[context.buffer[i] >> 4U];
    *output++ = digits[context.buffer[i] & 15U];
  }
  *output = 0;
}

}  // namespace

void Sha1Init(Sha1Context* context) {
  std::copy(std::begin(kInitial), std::end(kInitial), context->state);
  context->blocks = 0;
  context->fill = 0;
}

void Sha1Update(Sha1Context* context, const void* bytes, unsigned int count) {
  Flush(context);
  if (bytes == nullptr) return;
  const auto* input = static_cast<const unsigned char*>(bytes);
  std::size_t left = count;
  if (Fill(context) > 0) {
    const std::size_t taken = TopUp(context, input, left);
    Flush(context);
    input += taken;
    left -= taken;
    if (left == 0) return;
  }
  const std::size_t whole = left / kBlock;
  if (whole > 0) Transform(context, input, whole);
  TopUp(context, input + whole * kBlock, left % kBlock);
}

void Sha1Final(Sha1Context* context) {
  Flush(context);
  const std::uint64_t bits = (std::uint64_t{context->blocks} * kBlock + Fill(context)) * 8;
  context->buffer[context->fill++] = 0x80;
  if (Fill(context) > kLengthAt) {
    ZeroUpTo(context, kBlock);
    Flush(context);
  }
  ZeroUpTo(context, kLengthAt);
  StoreBigEndian(bits, 8, context->buffer + kLengthAt);
  Transform(context, context->buffer, 1);
  for (std::size_t i = 0; i < 5; ++i) StoreBigEndian(context->state[i], 4, context->buffer + 4 * i);
}

void Sha1Signature(Sha1Context* context, char* output) {
  Sha1Final(context);
  WriteSignature(*context, output);
}

int Sha1OfHandle(HANDLE file, char* output) {
  output[0] = 0;
  Sha1Context context;
  Sha1Init(&context);
  unsigned char piece[kReadPiece];
  for (;;) {
    const unsigned int count = LowRead(file, piece, sizeof piece);
    if (count == kLowFailed) return 0;
    if (count == 0) break;
    Sha1Update(&context, piece, count);
  }
  Sha1Signature(&context, output);
  return 1;
}

int Sha1OfFile(const char* path, char* output) {
  output[0] = 0;
  const tvl::LowFile file(path, 0);
  return file.IsOpen() ? Sha1OfHandle(file.Handle(), output) : 0;
}

int Sha1OfString(const char* text, char* output) {
  char length[32];
  const std::size_t bytes = std::strlen(text);
  const int digits = std::snprintf(length, sizeof length, "%zx", bytes);
  output[0] = 0;
  Sha1Context context;
  Sha1Init(&context);
  Sha1Update(&context, length, static_cast<unsigned int>(digits));
  Sha1Update(&context, text, static_cast<unsigned int>(bytes));
  Sha1Signature(&context, output);
  return 1;
}
