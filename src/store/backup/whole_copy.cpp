#include "store/backup/whole_copy.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <memory>
#include <thread>

#include "base/stop.h"
#include "store/backup/copied_file.h"
#include "store/backup/source_file.h"

namespace tvl {
namespace {

constexpr std::size_t kBuffer = 128 * 1024;
constexpr int kMostTries = 30;
constexpr std::chrono::milliseconds kFirstPause{10};
constexpr std::chrono::milliseconds kLongestPause{500};

// A time of change may be too coarse to distinguish two changes, so a file that changed within this time is
// read twice.
constexpr std::time_t kRecent = 2;

bool SameVersion(const FileVersion& a, const FileVersion& b) {
  return a.entry.id == b.entry.id && a.entry.size == b.entry.size && a.written == b.written &&
         a.changed == b.changed;
}

bool IsRecent(const FileVersion& version) {
  return std::max(version.written.seconds, version.changed.seconds) + kRecent > std::time(nullptr);
}

bool IsZero(const char* bytes, std::size_t count) {
  return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, count - 1) == 0;
}

class Copier {
 public:
  Copier(const NameIn& from, const NameIn& to, SourceState state)
      : from_(from),
        state_(state),
        target_(to.folder, to.name),
        buffer_(std::make_unique<char[]>(2 * kBuffer)) {}

  WholeCopy Run() {
    std::chrono::milliseconds pause = kFirstPause;
    for (int tries = 0; tries < kMostTries; ++tries) {
      if (StopRequested()) return Fail(TVL_ERR_STOPPED, "interrupted", 0);
      switch (Once()) {
        case Step::kDone:
          return {CopyOutcome::kCopied, before_.entry.size, {}};
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
    if (error_ == EBUSY) return Fail(TVL_ERR_SERVER_FILE, "file cannot be read", error_);
    return Fail(TVL_ERR_SERVER_FILE, "file changes all the time, so that no whole copy can be read", 0);
  }

 private:
  enum class Step { kDone, kGone, kChanged, kSourceFailed, kTargetFailed };

  Step Once() {
    const SourceFile source(from_.folder, from_.name);
    if (source.Problem() != 0) return AfterSourceError(source.Problem());
    error_ = 0;
    before_ = source.Version();
    if (before_.entry.kind != EntryKind::kFile) return Step::kChanged;
    if (const int problem = target_.OpenEmpty()) return FailTarget(problem);
    if (const Step step = Contents(source); step != Step::kDone) return step;
    if (const Step step = CheckUnchanged(source); step != Step::kDone) return step;
    const int problem = target_.Finish(source);
    return problem == 0 ? Step::kDone : FailTarget(problem);
  }

  // Another program may have replaced the file by a link, or have it locked for a moment.
  Step AfterSourceError(int error) {
    error_ = error;
    if (error == ENOENT) return Step::kGone;
    return error == ELOOP || error == EBUSY ? Step::kChanged : Step::kSourceFailed;
  }

  Step FailTarget(int error) {
    error_ = error;
    return Step::kTargetFailed;
  }

  Step Contents(const SourceFile& source) {
    if (target_.Share(source)) return Step::kDone;
    const bool has_holes = before_.allocated < before_.entry.size;
    if (has_holes) target_.AllowHoles();
    std::uint64_t offset = 0;
    for (;;) {
      std::size_t count = 0;
      if (const int problem = source.Read(buffer_.get(), kBuffer, offset, count))
        return AfterSourceError(problem);
      if (count == 0) break;
      const bool is_hole = has_holes && IsZero(buffer_.get(), count);
      const int problem = is_hole ? 0 : target_.Write(buffer_.get(), count, offset);
      if (problem != 0) return FailTarget(problem);
      offset += count;
    }
    const int problem = target_.SetSize(offset);
    return problem == 0 ? Step::kDone : FailTarget(problem);
  }

  Step CheckUnchanged(const SourceFile& source) {
    if (state_ == SourceState::kAtRest) return Step::kDone;
    if (IsRecent(before_) && !ReadsTheSame(source)) return Step::kChanged;
    FileVersion after;
    if (const int problem = source.ReadVersion(after)) return AfterSourceError(problem);
    return SameVersion(before_, after) ? Step::kDone : Step::kChanged;
  }

  bool ReadsTheSame(const SourceFile& source) {
    char* again = buffer_.get() + kBuffer;
    for (std::uint64_t offset = 0;;) {
      std::size_t count = 0;
      if (source.Read(buffer_.get(), kBuffer, offset, count) != 0) return false;
      if (count == 0) return target_.HasSize(offset);
      if (!target_.Read(again, count, offset) || std::memcmp(buffer_.get(), again, count) != 0) return false;
      offset += count;
    }
  }

  WholeCopy Discard(WholeCopy result) {
    target_.Remove();
    return result;
  }

  WholeCopy Fail(int code, const char* what, int error) {
    return Discard({CopyOutcome::kFailed, 0, {code, what, error, {}}});
  }

  NameIn from_;
  SourceState state_;
  CopiedFile target_;
  std::unique_ptr<char[]> buffer_;  // one half for each file
  FileVersion before_;
  int error_ = 0;
};

}  // namespace

WholeCopy CopyWhole(const NameIn& from, const NameIn& to, SourceState state) {
  return Copier(from, to, state).Run();
}

}  // namespace tvl
