#ifndef TVL_PLATFORM_SAME_CONTENTS_H
#define TVL_PLATFORM_SAME_CONTENTS_H

#include <cstdint>

namespace tvl {

enum class Contents { kSame, kDifferent, kUnknown };

// Compares two files byte by byte, up to the first difference. A missing file differs from any other. Returns
// kUnknown if one of them is not a file or cannot be read completely.
[[nodiscard]] Contents CompareContents(const char* a, const char* b);

// The same if `a` was just found to be a file of that size.
[[nodiscard]] Contents CompareContents(const char* a, std::uint64_t size, const char* b);

// The same if both were just found to be files of the same size.
[[nodiscard]] Contents CompareSameSize(const char* a, const char* b);

}  // namespace tvl

#endif
