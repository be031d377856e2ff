#ifndef TVL_ENGINE_SQLITE_WRITE_BUFFER_H
#define TVL_ENGINE_SQLITE_WRITE_BUFFER_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace tvl::engine {

// A part of a file in memory, at most `limit` bytes. The memory is allocated at the first use, and kept
// unless much of it was used.
class WriteBuffer {
 public:
  explicit WriteBuffer(std::size_t limit) : limit_(limit) {}

  // Copies bytes to a position; a gap before it becomes zero. Returns false, with nothing changed, if they do
  // not fit or if there is no memory.
  [[nodiscard]] bool Put(const void* bytes, std::size_t count, std::size_t position) {
    if (count > limit_ || position > limit_ - count || !Allocate()) return false;
    if (position > size_) std::memset(memory_.get() + size_, 0, position - size_);
    std::memcpy(memory_.get() + position, bytes, count);
    if (position + count > size_) size_ = position + count;
    return true;
  }
  void Clear() {
    if (size_ > kMostKept) memory_.reset();
    size_ = 0;
  }

  // Returns the bytes and zeros after them, `size` in all, which must not exceed the limit.
  [[nodiscard]] std::string_view Padded(std::size_t size) {
    std::memset(memory_.get() + size_, 0, size - size_);
    return {memory_.get(), size};
  }

  [[nodiscard]] char* Data() { return memory_.get(); }
  [[nodiscard]] std::size_t Size() const { return size_; }
  [[nodiscard]] std::string_view Bytes() const { return {memory_.get(), size_}; }

 private:
  static constexpr std::size_t kMostKept = std::size_t{256} << 10;

  [[nodiscard]] bool Allocate() {
    if (memory_ == nullptr) memory_.reset(new (std::nothrow) char[limit_]);
    return memory_ != nullptr;
  }

  std::size_t limit_;
  std::size_t size_ = 0;
  std::unique_ptr<char[]> memory_;
};

}  // namespace tvl::engine

#endif
