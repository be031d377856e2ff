#include <cerrno>
#include <memory>
#include <new>

#include "platform/common/copy_steps.h"
#include "platform/last_error.h"
#include "platform/windows/open_file.h"
#include "platform/windows/traits.h"

namespace tvl {
namespace {

constexpr std::size_t kBuffer = 128 * 1024;

class CopySource {
 public:
  explicit CopySource(const char* path) : path_(path), file_(path, {}) {}

  [[nodiscard]] bool IsOpen() const { return file_.IsOpen(); }
  [[nodiscard]] SourceTraits Traits() const { return TraitsOf(file_.Status()); }

  // Copies through a buffer: a copy by the system would replace a file that is held, and could not be a part.
  CopyResult CopyTo(TargetFile& target, const char* /*target_path*/) const {
    if (!target.Empty()) return CopyResult::kTargetFailed;
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kBuffer]);
    int problem = buffer == nullptr ? ENOMEM : 0;
    for (std::size_t count = 1; problem == 0 && count > 0;) {
      problem = ReadAll(file_.Get(), buffer.get(), kBuffer, &count);
      if (problem == 0 && !target.Write(buffer.get(), count)) return CopyResult::kTargetFailed;
    }
    if (problem == 0) return CopyResult::kCopied;
    NoteError(path_, problem);
    return CopyResult::kSourceFailed;
  }

  [[nodiscard]] FILETIME AccessTimeNow() const {
    native::Status now = file_.Status();
    static_cast<void>(native::StatusOf(file_.Get(), &now));
    return ContractTime(now.accessed);
  }

 private:
  const char* path_;
  OpenFile file_;
};

}  // namespace

CopyResult CopyFile(const char* source, const char* target, const Writing& writing, CopiedTimes times) {
  return CopyFileFrom<CopySource>(source, target, writing, times);
}

}  // namespace tvl
