#ifndef TVL_TRANSFER_CORE_H
#define TVL_TRANSFER_CORE_H

#include <cstdint>

// A growing block of bytes with a read cursor. It owns the block, which is allocated with malloc.
//
// `length` is the size of the contents and, for callers, the capacity. More memory may be allocated, so that
// many small appends cost no more than a large one.
class CCore {
 public:
  CCore() = default;
  virtual ~CCore();
  CCore(const CCore&) = delete;
  CCore& operator=(const CCore&) = delete;

  // Uses `bytes` as the block and starts reading at its beginning. With `freeOld` 0 the old block is not
  // freed, so that a caller can lend its own block, or take the block over by attaching null and 0.
  void Attach(void* bytes, std::uint32_t new_length, int freeOld);

  // Appends `count` bytes. Returns the new length, or the old one if memory ran out or the length does not
  // fit in 32 bits.
  std::uint32_t Append(const void* bytes, std::int32_t count);

  // Copies the next bytes, at most `count`, and advances the cursor. Returns the number of bytes copied, 0 at
  // the end.
  std::uint32_t Read(void* destination, std::uint32_t count);

  // Returns a pointer to the next bytes, at most `count`, and advances the cursor. Stores their number in
  // `taken`.
  const void* Take(std::uint32_t count, std::uint32_t* taken);

  // Frees the block.
  void Release();

  unsigned char* data = nullptr;
  std::uint32_t length = 0;
  std::uint32_t position = 0;

 private:
  bool Reserve(std::uint64_t bytes);

  std::uint64_t capacity_ = 0;  // bytes allocated, if more than `length`
};

#endif
