#ifndef TVL_TRANSFER_SHA1_TRANSFORM_H
#define TVL_TRANSFER_SHA1_TRANSFORM_H

#include <cstddef>
#include <cstdint>

namespace tvl {

// Updates the five hash words with `count` blocks of 64 bytes, by the 80 steps of FIPS 180-4.
using Sha1Transform = void (*)(std::uint32_t state[5], const unsigned char* blocks, std::size_t count);

void Sha1TransformPortable(std::uint32_t state[5], const unsigned char* blocks, std::size_t count);

// Returns the transform that uses the processor's SHA instructions, or null if it has none.
[[nodiscard]] Sha1Transform ProcessorSha1Transform();

}  // namespace tvl

#endif
