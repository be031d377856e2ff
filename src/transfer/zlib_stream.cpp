#include "transfer/zlib_stream.h"

#include <zlib.h>

#include <new>

namespace tvl {
namespace {

// The zlib version that the calls are written for. zlib compares only its first digit.
constexpr char kVersion[] = "1.2.3";

void SetInput(z_stream& stream, const void* bytes, unsigned int count) {
  stream.next_in = const_cast<Bytef*>(static_cast<const Bytef*>(bytes));
  stream.avail_in = count;
}

void SetOutput(z_stream& stream, void* output, unsigned int size) {
  stream.next_out = static_cast<Bytef*>(output);
  stream.avail_out = size;
}

}  // namespace

Deflater::Deflater()
    : stream_(new (std::nothrow) z_stream()),
      ready_(stream_ != nullptr &&
             deflateInit_(stream_.get(), Z_DEFAULT_COMPRESSION, kVersion, sizeof *stream_) == Z_OK) {}

Deflater::~Deflater() {
  if (ready_) deflateEnd(stream_.get());
}

void Deflater::Put(const void* bytes, unsigned int count) {
  SetInput(*stream_, bytes, count);
  finishing_ = count == 0;
}

unsigned int Deflater::Take(void* output, unsigned int size) {
  if (at_end_) return 0;
  SetOutput(*stream_, output, size);
  at_end_ = deflate(stream_.get(), finishing_ ? Z_FINISH : Z_NO_FLUSH) == Z_STREAM_END;
  return size - stream_->avail_out;
}

Inflater::Inflater()
    : stream_(new (std::nothrow) z_stream()),
      ready_(stream_ != nullptr && inflateInit_(stream_.get(), kVersion, sizeof *stream_) == Z_OK) {}

Inflater::~Inflater() {
  if (ready_) inflateEnd(stream_.get());
}

void Inflater::Put(const void* bytes, unsigned int count) {
  SetInput(*stream_, bytes, count);
}

unsigned int Inflater::Take(void* output, unsigned int size) {
  if (at_end_ || broken_) return 0;
  SetOutput(*stream_, output, size);
  const int result = inflate(stream_.get(), Z_NO_FLUSH);
  at_end_ = result == Z_STREAM_END;
  broken_ = result != Z_OK && result != Z_BUF_ERROR && !at_end_;  // Z_BUF_ERROR asks for more
  return size - stream_->avail_out;
}

}  // namespace tvl
