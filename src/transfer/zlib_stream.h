#ifndef TVL_TRANSFER_ZLIB_STREAM_H
#define TVL_TRANSFER_ZLIB_STREAM_H

#include <memory>

struct z_stream_s;

// One zlib stream (RFC 1950), piece by piece: bytes are given, and what comes of them is taken until nothing
// more does. The bytes given must stay where they are until then.

namespace tvl {

class Deflater {
 public:
  Deflater();
  ~Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // False if there was no memory to begin with.
  [[nodiscard]] bool IsReady() const { return ready_; }

  // The next bytes to pack; none means the end.
  void Give(const void* bytes, unsigned int count);

  // Packed bytes, at most `room`. 0 when more must be given, or the stream is at its end.
  [[nodiscard]] unsigned int Take(void* output, unsigned int room);

  [[nodiscard]] bool IsAtEnd() const { return at_end_; }

 private:
  std::unique_ptr<z_stream_s> stream_;
  bool ready_;
  bool finishing_ = false;
  bool at_end_ = false;
};

class Inflater {
 public:
  Inflater();
  ~Inflater();
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  [[nodiscard]] bool IsReady() const { return ready_; }

  // The next bytes of the stream. Those behind its end are passed over.
  void Give(const void* bytes, unsigned int count);

  // Expanded bytes, at most `room`. 0 when more must be given, the stream is at its end, or it is broken.
  [[nodiscard]] unsigned int Take(void* output, unsigned int room);

  [[nodiscard]] bool IsAtEnd() const { return at_end_; }

  // What was given is no zlib stream, or one that wants a dictionary; or memory is out.
  [[nodiscard]] bool IsBroken() const { return broken_; }

 private:
  std::unique_ptr<z_stream_s> stream_;
  bool ready_;
  bool broken_ = false;
  bool at_end_ = false;
};

}  // namespace tvl

#endif
