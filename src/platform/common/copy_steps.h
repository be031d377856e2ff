#ifndef TVL_PLATFORM_COMMON_COPY_STEPS_H
#define TVL_PLATFORM_COMMON_COPY_STEPS_H

#include "platform/copy_file.h"
#include "platform/target_file.h"

// The steps of a copy, for a `Source` that each system implements: the open source file, with
// IsOpen(), Traits(), CopyTo(TargetFile&, const char* target_path) and AccessTimeNow().

namespace tvl {

// The copy has just changed the access time of the source.
template <typename Source>
[[nodiscard]] CopyResult CopyTimes(const Source& source, TargetFile& target, CopiedTimes times) {
  SourceTraits traits = source.Traits();
  const bool all = times == CopiedTimes::kAccessedAndWritten;
  if (all) traits.accessed = source.AccessTimeNow();
  const bool done = target.SetTimes(all ? &traits.accessed : nullptr, traits.written);
  return done ? CopyResult::kCopied : CopyResult::kCopiedWithoutTimes;
}

template <typename Source>
[[nodiscard]] CopyResult CopyOnce(const char* source_path, const char* target_path, const Writing& writing,
                                  CopiedTimes times) {
  const Source source(source_path);
  if (!source.IsOpen()) return CopyResult::kSourceFailed;
  const SourceTraits traits = source.Traits();
  TargetFile target(target_path, writing, &traits);
  if (!target.IsOpen()) return FailureOf(target);
  CopyResult result = CopyResult::kCopied;
  if (!target.IsSource()) result = source.CopyTo(target, target_path);
  if (!target.IsSource() && IsCopied(result)) result = CopyTimes(source, target, times);
  if (IsCopied(result) && !target.Finish()) result = FailureOf(target);
  if (!IsCopied(result)) target.Discard();
  return result;
}

// CopyFile for such a source.
template <typename Source>
[[nodiscard]] CopyResult CopyFileFrom(const char* source, const char* target, const Writing& writing,
                                      CopiedTimes times) {
  return CopyKeepingPart(CopyOnce<Source>, source, target, writing, times);
}

}  // namespace tvl

#endif
