#ifndef TVL_PLATFORM_COPY_FILE_H
#define TVL_PLATFORM_COPY_FILE_H

#include "platform/writing.h"

namespace tvl {

enum class CopyResult {
  kCopied,
  kCopiedWithoutTimes,  // the target has another owner, so its times could not be set
  kSourceFailed,
  kTargetFailed,
};

enum class CopiedTimes { kWritten, kAccessedAndWritten };

// Copies a file, including its holes if both file systems support them. If the copy fails, removes a target
// that it created. Does nothing if a file is copied onto itself.
[[nodiscard]] CopyResult CopyFile(const char* source, const char* target, const Writing& writing,
                                  CopiedTimes times);

[[nodiscard]] constexpr bool IsCopied(CopyResult result) {
  return result == CopyResult::kCopied || result == CopyResult::kCopiedWithoutTimes;
}

}  // namespace tvl

#endif
