#ifndef TVL_TRANSFER_SHA1_TRANSFORM_H
#define TVL_TRANSFER_SHA1_TRANSFORM_H

#include <cstddef>
#include <cstdint>

namespace tvl {

// Takes `count` blocks of 64 bytes into the five hash words, by the 80 steps of FIPS 180-4.
using Sha1Transform = void (*)(std::uint32_t state[5], const unsigned char* blocks, std::size_t count);

void Sha1TransformPortable(std::uint32_t state[5], const unsigned char* blocks, std::size_t count);

// The transform by the processor's SHA instructions; null where it has none.
[[nodiscard]] Sha1Transform ProcessorSha1Transform();

}  // namespace tvl

#endif
