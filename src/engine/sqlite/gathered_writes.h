#ifndef TVL_ENGINE_SQLITE_GATHERED_WRITES_H
#define TVL_ENGINE_SQLITE_GATHERED_WRITES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engine/sqlite/write_buffer.h"

namespace tvl::engine {

// Writes of adjacent pages, which SQLite makes one by one, for one request.
class GatheredWrites {
 public:
  // Returns false if the bytes do not follow those before, or if these are enough.
  [[nodiscard]] bool Add(const void* bytes, std::size_t count, std::int64_t offset) {
    if (IsEmpty()) start_ = offset;
    return offset == End() && buffer_.Put(bytes, count, buffer_.Size());
  }
  void Clear() { buffer_.Clear(); }

  [[nodiscard]] bool IsEmpty() const { return buffer_.Size() == 0; }
  [[nodiscard]] std::int64_t Start() const { return start_; }
  [[nodiscard]] std::string_view Bytes() const { return buffer_.Bytes(); }

 private:
  static constexpr std::size_t kMost = std::size_t{64} << 10;

  [[nodiscard]] std::int64_t End() const { return start_ + static_cast<std::int64_t>(buffer_.Size()); }

  std::int64_t start_ = 0;
  WriteBuffer buffer_{kMost};
};

}  // namespace tvl::engine

#endif
