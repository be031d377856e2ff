#ifndef TVL_PLATFORM_COPY_FILE_H
#define TVL_PLATFORM_COPY_FILE_H

#include "platform/writing.h"

namespace tvl {

class TargetFile;

enum class CopyResult {
  kCopied,
  kCopiedWithoutTimes,  // the target has another owner, so its times could not be set
  kSourceFailed,
  kTargetFailed,
  kTargetAppeared,  // Writing expects a new target, but the target exists
  kPartLost,        // only within CopyKeepingPart
};

enum class CopiedTimes { kWritten, kAccessedAndWritten };

// Copies a file, including its holes if both file systems support them. If the copy fails, removes a target
// that it created. Does nothing if a file is copied onto itself.
[[nodiscard]] CopyResult CopyFile(const char* source, const char* target, const Writing& writing,
                                  CopiedTimes times);

// Returns the result for a target that could not be opened or finished.
[[nodiscard]] CopyResult FailureOf(const TargetFile& target);

// One attempt of a copy, with the parameters of CopyFile.
using CopyAttempt = CopyResult(const char* source, const char* target, const Writing& writing,
                               CopiedTimes times);

// Makes an attempt, and another one with a part that is held if other processes removed the first part. In a
// group that may turn out later; then the group makes the second attempt.
[[nodiscard]] CopyResult CopyKeepingPart(CopyAttempt* copy, const char* source, const char* target,
                                         const Writing& writing, CopiedTimes times);

[[nodiscard]] constexpr bool IsCopied(CopyResult result) {
  return result == CopyResult::kCopied || result == CopyResult::kCopiedWithoutTimes;
}

}  // namespace tvl

#endif
