#ifndef TVL_ENGINE_KEY_H
#define TVL_ENGINE_KEY_H

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "engine/layout.h"

namespace tvl::engine {

// A key that is padded with blanks or cut to the length in its table.
class Key {
 public:
  // `text` may be null for a blank key.
  Key(const char* text, int length) : length_(static_cast<std::size_t>(length)) {
    const std::size_t given = text == nullptr ? 0 : strnlen(text, length_);
    if (given > 0) std::memcpy(bytes_, text, given);
    std::memset(bytes_ + given, ' ', length_ - given);
  }

  [[nodiscard]] const char* Bytes() const { return bytes_; }
  [[nodiscard]] int Length() const { return static_cast<int>(length_); }

  [[nodiscard]] bool IsBlank() const {
    return std::all_of(bytes_, bytes_ + length_, [](char byte) { return byte == ' '; });
  }

  // Sets the key to bytes from storage, regardless of their number.
  void Assign(const void* bytes, std::size_t count) {
    count = std::min(count, length_);
    if (count > 0) std::memcpy(bytes_, bytes, count);
    std::memset(bytes_ + count, ' ', length_ - count);
  }

  // Copies the key and a NUL into a caller's buffer.
  void CopyTo(char* text) const {
    std::memcpy(text, bytes_, length_);
    text[length_] = 0;
  }

 private:
  char bytes_[kLongestKey];
  std::size_t length_;
};

}  // namespace tvl::engine

#endif
