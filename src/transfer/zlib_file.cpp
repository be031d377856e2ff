#include "transfer/zlib_file.h"

#include <zlib.h>

#include "base/low_file.h"
#include "base/pump.h"
#include "platform/held_file.h"

namespace {

constexpr unsigned int kPiece = 16384;
constexpr char kVersion[] =
    "1.2.3";  // the interface that the calls are made for; zlib compares its first digit

// A stream that compresses, ended with the object.
class Deflater {
 public:
  Deflater()
      : stream_{}, ready_(deflateInit_(&stream_, Z_DEFAULT_COMPRESSION, kVersion, sizeof stream_) == Z_OK) {}
  ~Deflater() {
    if (ready_) deflateEnd(&stream_);
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  [[nodiscard]] bool IsReady() const { return ready_; }

  // Appends what comes out of `count` more bytes; none means the end. False if the block could not grow.
  [[nodiscard]] bool Feed(unsigned char* bytes, unsigned int count, CCore& destination) {
    stream_.next_in = bytes;
    stream_.avail_in = count;
    do {
      unsigned char output[kPiece];
      stream_.next_out = output;
      stream_.avail_out = kPiece;
      deflate(&stream_, count > 0 ? Z_NO_FLUSH : Z_FINISH);
      const unsigned int produced = kPiece - stream_.avail_out;
      const std::uint32_t before = destination.length;
      if (destination.Append(output, static_cast<std::int32_t>(produced)) != before + produced) return false;
    } while (stream_.avail_out == 0);
    return true;
  }

 private:
  z_stream stream_;
  bool ready_;
};

// A stream that expands, ended with the object.
class Inflater {
 public:
  Inflater() : stream_{}, ready_(inflateInit_(&stream_, kVersion, sizeof stream_) == Z_OK) {}
  ~Inflater() {
    if (ready_) inflateEnd(&stream_);
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  [[nodiscard]] bool IsReady() const { return ready_; }
  [[nodiscard]] bool IsAtEnd() const { return result_ == Z_STREAM_END; }

  // Writes what comes out of the next piece. False if the stream is broken or the file can't be written.
  [[nodiscard]] bool Feed(const void* piece, unsigned int count, HANDLE file) {
    stream_.next_in = const_cast<Bytef*>(static_cast<const Bytef*>(piece));
    stream_.avail_in = count;
    do {
      unsigned char output[kPiece];
      stream_.next_out = output;
      stream_.avail_out = kPiece;
      result_ = inflate(&stream_, Z_NO_FLUSH);
      if (result_ == Z_DATA_ERROR || result_ == Z_MEM_ERROR || result_ == Z_NEED_DICT) return false;
      if (!Write(output, kPiece - stream_.avail_out, file)) return false;
    } while (stream_.avail_out == 0);
    return true;
  }

 private:
  static bool Write(unsigned char* bytes, unsigned int count, HANDLE file) {
    PumpMessages();
    const bool whole = LowWrite(file, bytes, count) == count;
    PumpMessages();
    return whole;
  }

  z_stream stream_;
  bool ready_;
  int result_ = Z_OK;
};

}  // namespace

int CZlib::CompressFile(const char* source, CCore& destination) {
  const tvl::LowFile file(source, 0);
  if (!file.IsOpen()) return 0;
  Deflater deflater;
  if (!deflater.IsReady()) return 0;
  unsigned int count = 0;
  do {
    unsigned char input[kPiece];
    PumpMessages();
    count = LowRead(file.Handle(), input, kPiece);
    PumpMessages();
    if (count == kLowFailed) count = 0;
    if (!deflater.Feed(input, count, destination)) return 0;
  } while (count > 0);
  return 1;
}

int CZlib::DecompressFile(CCore& source, const char* destination) {
  tvl::LowFile file(destination, kLowRewrite);
  if (!file.IsOpen() || tvl::IsHeld(static_cast<int>(file.Handle()))) return 0;
  Inflater inflater;
  if (!inflater.IsReady()) return 0;
  while (!inflater.IsAtEnd()) {
    std::uint32_t count = 0;
    const void* piece = source.Take(kPiece, &count);
    PumpMessages();
    if (count == 0) break;
    if (!inflater.Feed(piece, count, file.Handle())) return 0;
  }
  return file.Close() && inflater.IsAtEnd() ? 1 : 0;
}
