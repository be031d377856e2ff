#ifndef TVL_HOST_RANDOM_ID_H
#define TVL_HOST_RANDOM_ID_H

#include <cstddef>
#include <string>

namespace tvl {

constexpr std::size_t kRandomIdLength = 32;

// Returns random lower-case hexadecimal digits; an empty text, with the reason in errno, if the system has no
// random numbers.
[[nodiscard]] std::string RandomId();

}  // namespace tvl

#endif
