#include "platform/copy_file.h"

#include <cerrno>

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/target_file.h"
#include "platform/transfer_group.h"

namespace tvl {

CopyResult FailureOf(const TargetFile& target) {
  switch (target.Why()) {
    case TargetFile::Outcome::kAppeared:
      return CopyResult::kTargetAppeared;
    case TargetFile::Outcome::kPartLost:
      return CopyResult::kPartLost;
    case TargetFile::Outcome::kFailed:
      break;
  }
  return CopyResult::kTargetFailed;
}

CopyResult CopyKeepingPart(CopyAttempt* copy, const char* source, const char* target, const Writing& writing,
                           CopiedTimes times) {
  if (writing.group != nullptr && writing.safety == Safety::kWhole)
    writing.group->NoteCopy(copy, source, target, times);
  const CopyResult result = copy(source, target, writing, times);
  if (result != CopyResult::kPartLost) return result;
  Writing careful = writing;
  careful.holds_small_parts = true;
  return copy(source, target, careful, times);
}

}  // namespace tvl

BOOL CopyFileA(const char* source, const char* target, BOOL fail_if_exists) {
  if (fail_if_exists != 0 && tvl::NameExists(target)) {
    tvl::NoteError(target, EEXIST);
    return 0;
  }
  return tvl::IsCopied(tvl::CopyFile(source, target, {}, tvl::CopiedTimes::kWritten)) ? 1 : 0;
}
