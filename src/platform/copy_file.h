#ifndef TVL_PLATFORM_COPY_FILE_H
#define TVL_PLATFORM_COPY_FILE_H

#include "platform/writing.h"

namespace tvl {

enum class CopyResult {
  kCopied,
  kCopiedWithoutTimes,  // the target has another owner, who keeps its times
  kSourceFailed,
  kTargetFailed,
};

enum class CopiedTimes { kWritten, kAccessedAndWritten };

// Copies a file, with its holes where both file systems can have them. A target that the copy created is
// removed if the copy fails; a file that is copied onto itself stays as it is.
[[nodiscard]] CopyResult CopyFile(const char* source, const char* target, const Writing& writing,
                                  CopiedTimes times);

[[nodiscard]] constexpr bool IsCopied(CopyResult result) {
  return result == CopyResult::kCopied || result == CopyResult::kCopiedWithoutTimes;
}

}  // namespace tvl

#endif
