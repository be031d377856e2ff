#ifndef TVL_TRANSFER_ZLIB_STREAM_H
#define TVL_TRANSFER_ZLIB_STREAM_H

#include <memory>

struct z_stream_s;

// One zlib stream (RFC 1950), processed piece by piece: call Put with input, then Take until it returns 0.
// The input must remain valid until then.

namespace tvl {

class Deflater {
 public:
  Deflater();
  ~Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // Returns false if there was not enough memory to start.
  [[nodiscard]] bool IsReady() const { return ready_; }

  // Sets the next bytes to compress. A `count` of 0 means the end.
  void Put(const void* bytes, unsigned int count);

  // Copies compressed bytes, at most `size`. Returns 0 if more input is needed or the stream has ended.
  [[nodiscard]] unsigned int Take(void* output, unsigned int size);

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

  // Sets the next bytes of the stream. Bytes after its end are ignored.
  void Put(const void* bytes, unsigned int count);

  // Copies decompressed bytes, at most `size`. Returns 0 if more input is needed, or if the stream has ended
  // or is damaged.
  [[nodiscard]] unsigned int Take(void* output, unsigned int size);

  [[nodiscard]] bool IsAtEnd() const { return at_end_; }

  // Returns true if the input is not a zlib stream, requires a dictionary, or memory ran out.
  [[nodiscard]] bool IsBroken() const { return broken_; }

 private:
  std::unique_ptr<z_stream_s> stream_;
  bool ready_;
  bool broken_ = false;
  bool at_end_ = false;
};

}  // namespace tvl

#endif
