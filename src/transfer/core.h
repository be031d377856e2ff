#ifndef TVL_TRANSFER_CORE_H
#define TVL_TRANSFER_CORE_H

#include <cstdint>

// A block of bytes that grows, with a read cursor. It owns its block, which lies on the heap of malloc and
// free.
//
// `length` is what the block holds and, to everybody else, its capacity. Behind it there may be room for what
// comes, so that many small appends cost no more than one large one.
class CCore {
 public:
  CCore() = default;
  virtual ~CCore();
  CCore(const CCore&) = delete;
  CCore& operator=(const CCore&) = delete;

  // Takes `bytes` as the block, and starts reading at its beginning. With `freeOld` 0 the old block is
  // forgotten, not freed: so a caller lends a block of its own, or takes the block out by attaching null and
  // 0.
  void Attach(void* bytes, std::uint32_t newLength, int freeOld);

  // Puts `count` bytes at the end. The new length; the old one if there is no memory or 32 bits don't suffice
  // for it.
  std::uint32_t Append(const void* bytes, std::int32_t count);

  // Copies the next bytes, at most `count`, and moves on behind them. The number copied, 0 at the end.
  std::uint32_t Read(void* destination, std::uint32_t count);

  // The next bytes, at most `count`, where they lie; moves on behind them. `taken` gets the number.
  const void* Take(std::uint32_t count, std::uint32_t* taken);

  // Frees the block.
  void Release();

  unsigned char* data = nullptr;
  std::uint32_t length = 0;
  std::uint32_t position = 0;

 private:
  bool Reserve(std::uint64_t bytes);

  std::uint64_t room_ = 0;  // bytes allocated, where more than `length`
};

#endif
