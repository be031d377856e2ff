#include "store/backup/whole_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <memory>
#include <thread>

#include "base/stop.h"
#include "host/descriptor.h"
#include "host/file_access.h"
#include "host/file_identity.h"
#include "host/system_calls.h"
#include "host/write_all.h"

namespace tvl {
namespace {

constexpr std::size_t kBuffer = 128 * 1024;
constexpr int kMostTries = 30;
constexpr std::chrono::milliseconds kFirstPause{10};
constexpr std::chrono::milliseconds kLongestPause{500};

// A time of change may be too coarse to distinguish two changes, so a file that changed within this time is
// read twice.
constexpr std::time_t kRecent = 2;

bool SameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool SameVersion(const struct stat& a, const struct stat& b) {
  return IdentityOf(a) == IdentityOf(b) && a.st_size == b.st_size && SameTime(a.st_mtim, b.st_mtim) &&
         SameTime(a.st_ctim, b.st_ctim);
}

bool IsRecent(const struct stat& status) {
  return std::max(status.st_mtim.tv_sec, status.st_ctim.tv_sec) + kRecent > std::time(nullptr);
}

ssize_t ReadBlock(int file, char* buffer, std::size_t most, off_t offset) {
  for (;;) {
    const ssize_t count = System().pread(file, buffer, most, offset);
    if (count >= 0 || errno != EINTR) return count;
  }
}

bool IsZero(const char* bytes, std::size_t count) {
  return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, count - 1) == 0;
}

class Copier {
 public:
  Copier(const NameIn& from, const NameIn& to, SourceState state)
      : from_(from), to_(to), state_(state), buffer_(std::make_unique<char[]>(2 * kBuffer)) {}

  WholeCopy Run() {
    std::chrono::milliseconds pause = kFirstPause;
    for (int tries = 0; tries < kMostTries; ++tries) {
      if (StopRequested()) return Fail(TVL_ERR_STOPPED, "interrupted", 0);
      switch (Once()) {
        case Step::kDone:
          return {CopyOutcome::kCopied, static_cast<std::uint64_t>(before_.st_size), {}};
        case Step::kGone:
          return Discard({CopyOutcome::kGone, 0, {}});
        case Step::kSourceFailed:
          return Fail(TVL_ERR_SERVER_FILE, "file cannot be read", error_);
        case Step::kTargetFailed:
          return Fail(TVL_ERR_CREATE_DIR, "the copy cannot be written", error_);
        case Step::kChanged:
          std::this_thread::sleep_for(pause);
          pause = std::min(pause * 2, kLongestPause);
      }
    }
    return Fail(TVL_ERR_SERVER_FILE, "file changes all the time, so that no whole copy can be read", 0);
  }

 private:
  enum class Step { kDone, kGone, kChanged, kSourceFailed, kTargetFailed };

  Step Once() {
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const Descriptor source(System().openat(from_.folder, from_.name, kFlags, 0));
    if (!source.IsOpen()) return AfterSourceError();
    if (System().fstat(source.Get(), &before_) != 0) return AfterSourceError();
    if (!S_ISREG(before_.st_mode)) return Step::kChanged;
    if (const Step step = OpenTarget(); step != Step::kDone) return step;
    if (const Step step = Contents(source.Get()); step != Step::kDone) return step;
    if (const Step step = CheckUnchanged(source.Get()); step != Step::kDone) return step;
    return Traits(source.Get());
  }

  Step AfterSourceError() {
    error_ = errno;
    if (error_ == ENOENT) return Step::kGone;
    return error_ == ESTALE || error_ == ELOOP ? Step::kChanged : Step::kSourceFailed;
  }

  Step FailTarget(int error) {
    error_ = error;
    return Step::kTargetFailed;
  }

  Step OpenTarget() {
    if (target_.IsOpen()) return System().ftruncate(target_.Get(), 0) == 0 ? Step::kDone : FailTarget(errno);
    target_ = Descriptor(System().openat(to_.folder, to_.name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return target_.IsOpen() ? Step::kDone : FailTarget(errno);
  }

  // Shared blocks need neither time nor space, and are one version of the file.
  Step Contents(int source) {
    if (System().clone(target_.Get(), source) == 0) return Step::kDone;
    const bool has_holes = before_.st_blocks * 512 < before_.st_size;
    off_t offset = 0;
    for (;;) {
      const ssize_t count = ReadBlock(source, buffer_.get(), kBuffer, offset);
      if (count < 0) return AfterSourceError();
      if (count == 0) break;
      const auto length = static_cast<std::size_t>(count);
      const bool is_hole = has_holes && IsZero(buffer_.get(), length);
      const int problem = is_hole ? 0 : WriteAllAt(target_.Get(), buffer_.get(), length, offset);
      if (problem != 0) return FailTarget(problem);
      offset += count;
    }
    return System().ftruncate(target_.Get(), offset) == 0 ? Step::kDone : FailTarget(errno);
  }

  Step CheckUnchanged(int source) {
    if (state_ == SourceState::kAtRest) return Step::kDone;
    if (IsRecent(before_) && !ReadsTheSame(source)) return Step::kChanged;
    struct stat after = {};
    if (System().fstat(source, &after) != 0) return AfterSourceError();
    return SameVersion(before_, after) ? Step::kDone : Step::kChanged;
  }

  bool ReadsTheSame(int source) {
    char* again = buffer_.get() + kBuffer;
    for (off_t offset = 0;;) {
      const ssize_t count = ReadBlock(source, buffer_.get(), kBuffer, offset);
      if (count == 0) return System().lseek(target_.Get(), 0, SEEK_END) == offset;
      const auto length = count < 0 ? 0 : static_cast<std::size_t>(count);
      if (count < 0 || ReadBlock(target_.Get(), again, length, offset) != count) return false;
      if (std::memcmp(buffer_.get(), again, length) != 0) return false;
      offset += count;
    }
  }

  Step Traits(int source) {
    FileAccess access;
    if (access.Read(source) != 0 || access.Apply(target_.Get()) != 0)
      System().fchmod(target_.Get(), before_.st_mode & 0777U);
    const timespec times[] = {before_.st_atim, before_.st_mtim};
    if (System().futimens(target_.Get(), times) != 0) return FailTarget(errno);
    const int problem = target_.Close();
    return problem == 0 ? Step::kDone : FailTarget(problem);
  }

  WholeCopy Discard(WholeCopy result) {
    if (target_.IsOpen()) System().unlinkat(to_.folder, to_.name, 0);
    return result;
  }

  WholeCopy Fail(int code, const char* what, int error) {
    return Discard({CopyOutcome::kFailed, 0, {code, what, error, {}}});
  }

  NameIn from_;
  NameIn to_;
  SourceState state_;
  std::unique_ptr<char[]> buffer_;  // one half for each file
  Descriptor target_;
  struct stat before_ = {};
  int error_ = 0;
};

}  // namespace

WholeCopy CopyWhole(const NameIn& from, const NameIn& to, SourceState state) {
  return Copier(from, to, state).Run();
}

}  // namespace tvl
