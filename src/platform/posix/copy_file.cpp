#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "host/system_calls.h"
#include "platform/common/copy_steps.h"
#include "platform/last_error.h"
#include "platform/posix/descriptor_of.h"
#include "platform/posix/open_file.h"
#include "platform/posix/traits.h"

// Copies by the fastest means available: shared blocks if the file system supports them, a copy inside the
// kernel (or, on some network shares, inside the server), else a loop with a buffer. Small files use the
// buffer at once, because two calls copy them completely.

namespace tvl {
namespace {

constexpr std::size_t kBuffer = 128 * 1024;
constexpr std::size_t kKernelChunk = std::size_t{1} << 30;
constexpr off_t kToTheEnd = std::numeric_limits<off_t>::max();

CopyResult FailTarget(const char* target) {
  NoteError(target, errno);
  return CopyResult::kTargetFailed;
}

CopyResult FailSource(const OpenFile& source) {
  source.NoteFailure();
  return CopyResult::kSourceFailed;
}

bool IsFull(int problem) {
  return problem == ENOSPC || problem == EDQUOT || problem == EFBIG;
}

class Copy {
 public:
  Copy(const OpenFile& source, TargetFile& target, const char* target_path)
      : source_(source), target_(target), target_path_(target_path) {}

  CopyResult Contents() {
    const SourceTraits traits = TraitsOf(source_.Status());
    const bool is_large = traits.size > kBuffer;
    if (is_large && IsCloned()) return CopyResult::kCopied;
    if (!target_.Empty()) return CopyResult::kTargetFailed;
    in_kernel_ = is_large;
    if (is_large && traits.HasHoles()) return DataOnly();
    return Range(kToTheEnd);
  }

 private:
  // Sharing blocks needs no space, so it is tried first. Afterwards the target is cut to the length of the
  // source.
  bool IsCloned() const {
    return System().clone(DescriptorOf(target_.Handle()), source_.Descriptor()) == 0 &&
           System().ftruncate(DescriptorOf(target_.Handle()), source_.Status().st_size) == 0;
  }

  // Copies the data between the holes. A file system without holes reports a single range of data.
  CopyResult DataOnly() {
    keeps_ranges_ = true;
    off_t end = 0;
    for (;;) {
      const off_t data = System().lseek(source_.Descriptor(), end, SEEK_DATA);
      if (data < 0 && errno == ENXIO) break;
      if (data < 0) return FailSource(source_);
      end = System().lseek(source_.Descriptor(), data, SEEK_HOLE);
      if (end < 0 || System().lseek(source_.Descriptor(), data, SEEK_SET) < 0) return FailSource(source_);
      if (System().lseek(DescriptorOf(target_.Handle()), data, SEEK_SET) < 0) return FailTarget(target_path_);
      const CopyResult result = Range(end - data);
      if (result != CopyResult::kCopied) return result;
    }
    const off_t size = std::max(end, source_.Status().st_size);
    if (System().ftruncate(DescriptorOf(target_.Handle()), size) != 0) return FailTarget(target_path_);
    return CopyResult::kCopied;
  }

  // Copies `left` bytes from the current positions of both files.
  CopyResult Range(off_t left) {
    while (in_kernel_ && left > 0) {
      const std::size_t most = std::min(kKernelChunk, static_cast<std::size_t>(left));
      const ssize_t count =
          System().copy_file_range(source_.Descriptor(), DescriptorOf(target_.Handle()), most);
      if (count > 0) left -= count;
      if (count > 0 || (count < 0 && errno == EINTR)) continue;
      if (count < 0 && IsFull(errno)) return FailTarget(target_path_);
      if (count < 0 && errno == EIO) return FailSource(source_);
      // Some network shares report 0 before the end. Both positions are where the kernel stopped, so the
      // buffer can continue.
      in_kernel_ = count == 0 && left != kToTheEnd;
      break;
    }
    return ThroughBuffer(left);
  }

  CopyResult ThroughBuffer(off_t left) {
    char buffer[kBuffer];
    while (left > 0) {
      const std::size_t most = std::min(sizeof buffer, static_cast<std::size_t>(left));
      const ssize_t count = System().read(source_.Descriptor(), buffer, most);
      if (count == 0) break;
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return FailSource(source_);
      const auto length = static_cast<std::size_t>(count);
      if (!(keeps_ranges_ ? target_.WriteData(buffer, length) : target_.Write(buffer, length)))
        return CopyResult::kTargetFailed;
      left -= count;
    }
    return CopyResult::kCopied;
  }

  const OpenFile& source_;
  TargetFile& target_;
  const char* target_path_;
  bool in_kernel_ = false;
  bool keeps_ranges_ = false;
};

class CopySource {
 public:
  explicit CopySource(const char* path) : file_(path, O_RDONLY) {}

  [[nodiscard]] bool IsOpen() const { return file_.IsOpen(); }
  [[nodiscard]] SourceTraits Traits() const { return TraitsOf(file_.Status()); }

  CopyResult CopyTo(TargetFile& target, const char* target_path) const {
    return Copy(file_, target, target_path).Contents();
  }

  // On a network file system the change is not worth a request.
  [[nodiscard]] FILETIME AccessTimeNow() const {
    struct statx now = {};
    constexpr int kFlags = AT_EMPTY_PATH | AT_STATX_DONT_SYNC;
    if (System().statx(file_.Descriptor(), "", kFlags, STATX_ATIME, &now) != 0) return Traits().accessed;
    return {now.stx_atime.tv_sec, static_cast<std::int32_t>(now.stx_atime.tv_nsec)};
  }

 private:
  OpenFile file_;
};

}  // namespace

CopyResult CopyFile(const char* source, const char* target, const Writing& writing, CopiedTimes times) {
  return CopyFileFrom<CopySource>(source, target, writing, times);
}

}  // namespace tvl
