#include "platform/copy_file.h"

#include <cerrno>
#include <memory>
#include <new>

#include "platform/last_error.h"
#include "platform/target_file.h"
#include "platform/windows/open_file.h"
#include "platform/windows/traits.h"

namespace tvl {
namespace {

constexpr std::size_t kBuffer = 128 * 1024;

// Copies through a buffer: a copy by the system would replace a file that is held, and could not be a part.
CopyResult CopyContents(const OpenFile& source, TargetFile& target, const char* source_path) {
  if (!target.Empty()) return CopyResult::kTargetFailed;
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kBuffer]);
  int problem = buffer == nullptr ? ENOMEM : 0;
  for (std::size_t count = 1; problem == 0 && count > 0;) {
    problem = ReadAll(source.Get(), buffer.get(), kBuffer, &count);
    if (problem == 0 && !target.Write(buffer.get(), count)) return CopyResult::kTargetFailed;
  }
  if (problem == 0) return CopyResult::kCopied;
  NoteError(source_path, problem);
  return CopyResult::kSourceFailed;
}

// Reads the access time of the source again, because the copy has just changed it.
CopyResult CopyTimes(const OpenFile& source, TargetFile& target, CopiedTimes times) {
  const bool all = times == CopiedTimes::kAccessedAndWritten;
  native::Status now = source.Status();
  if (all) static_cast<void>(native::StatusOf(source.Get(), &now));
  const FILETIME accessed = ContractTime(now.accessed);
  const bool done = target.SetTimes(all ? &accessed : nullptr, ContractTime(source.Status().written));
  return done ? CopyResult::kCopied : CopyResult::kCopiedWithoutTimes;
}

CopyResult CopyOnce(const char* source_path, const char* target_path, const Writing& writing,
                    CopiedTimes times) {
  const OpenFile source(source_path, {});
  if (!source.IsOpen()) return CopyResult::kSourceFailed;
  const SourceTraits traits = TraitsOf(source.Status());
  TargetFile target(target_path, writing, &traits);
  if (!target.IsOpen()) return FailureOf(target);
  CopyResult result = CopyResult::kCopied;
  if (!target.IsSource()) result = CopyContents(source, target, source_path);
  if (!target.IsSource() && IsCopied(result)) result = CopyTimes(source, target, times);
  if (IsCopied(result) && !target.Finish()) result = FailureOf(target);
  if (!IsCopied(result)) target.Discard();
  return result;
}

}  // namespace

CopyResult CopyFile(const char* source, const char* target, const Writing& writing, CopiedTimes times) {
  return CopyKeepingPart(writing, [&](const Writing& now) { return CopyOnce(source, target, now, times); });
}

}  // namespace tvl

BOOL CopyFileA(const char* source, const char* target, BOOL failIfExists) {
  if (failIfExists != 0 && tvl::NameExists(target)) {
    tvl::NoteError(target, EEXIST);
    return 0;
  }
  return tvl::IsCopied(tvl::CopyFile(source, target, {}, tvl::CopiedTimes::kWritten)) ? 1 : 0;
}
