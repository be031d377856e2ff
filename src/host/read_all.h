#ifndef TVL_HOST_READ_ALL_H
#define TVL_HOST_READ_ALL_H

#include <cstddef>
#include <string>

namespace tvl {

// Appends the rest of an open file to `contents`. Returns 0 or an errno value, EFBIG if `contents` would
// become longer than `most` bytes.
[[nodiscard]] int ReadAll(int file, std::string& contents, std::size_t most);

}  // namespace tvl

#endif
