#ifndef TVL_PLATFORM_SAME_CONTENTS_H
#define TVL_PLATFORM_SAME_CONTENTS_H

namespace tvl {

enum class Contents { kSame, kDifferent, kUnknown };

// Compares two files byte by byte, up to the first difference. A missing file differs from any other. Returns
// kUnknown if one of them is not a file or cannot be read completely.
[[nodiscard]] Contents CompareContents(const char* a, const char* b);

}  // namespace tvl

#endif
