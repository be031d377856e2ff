#ifndef TVL_HOST_WRITE_ALL_H
#define TVL_HOST_WRITE_ALL_H

#include <cstddef>
#include <cstdint>

namespace tvl {

// Writes all `count` bytes, in as many calls as that takes. Returns 0 or the errno value of the call that
// failed.
[[nodiscard]] int WriteAll(int file, const void* bytes, std::size_t count);

// The same from `offset` on; the file's own position does not change.
[[nodiscard]] int WriteAllAt(int file, const void* bytes, std::size_t count, std::int64_t offset);

}  // namespace tvl

#endif
