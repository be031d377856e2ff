#include "platform/copy_file.h"
#include "platform/target_file.h"

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

}  // namespace tvl
