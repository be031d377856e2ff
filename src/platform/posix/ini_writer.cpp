#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "host/file_access.h"
#include "host/local_turn.h"
#include "host/opening_apart.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "host/write_all.h"
#include "platform/common/ini_change.h"
#include "platform/common/ini_edit.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/ini_contents.h"
#include "platform/posix/open_file.h"
#include "platform/posix/replace_file.h"
#include "platform/posix/retry.h"
#include "store/layout.h"
#include "store/lock_ranges.h"
#include "store/part_name.h"

namespace tvl {
namespace {

using std::string_view;

constexpr int kRenameSeconds = 10;
constexpr int kRetrySeconds = 1;

std::string PartOf(const std::string& path) {
  return FolderOf(path) + "." + path.substr(path.rfind('/') + 1) + kPartSuffix;
}

// The file before the change. It is closed after reading, because on SMB a file that this computer has open
// cannot be replaced.
struct OldFile {
  std::string contents;
  FileAccess access;

  // Opens the file for writing, because that requires the right to change it, which a rename alone does not.
  [[nodiscard]] int Read(const std::string& path) {
    const auto passes = [&](int problem) { return IsBeingReplaced(path, problem); };
    return Retry(kRetrySeconds, passes, [&] {
      contents.clear();
      const LocalTurn turn(path.c_str());
      const OpenFile file(path.c_str(), O_RDWR);
      if (!file.IsOpen()) return LastErrorCode();
      file.CloseWithoutDelay();
      if (const int problem = access.Read(file.Descriptor())) return problem;
      return ReadIniContents(file.Descriptor(), contents);
    });
  }
};

// The turn of one writer: a hold on a file next to the INI file that can be opened by everyone who may write
// the INI file.
class Turn {
 public:
  explicit Turn(const std::string& of) : of_(of), path_(of + kConfigurationLockSuffix) {}
  // Pauses for longer than others do between two tries, or a busy writer would get every turn.
  ~Turn() {
    if (!held_) return;
    ReleaseFile(file_->Descriptor());
    std::this_thread::sleep_for(3 * kRetryPause);
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  // Returns 0, EAGAIN while another writer has the turn, or another errno value on failure.
  [[nodiscard]] int Take() {
    const int problem = Retry(kRetrySeconds, IsStaleOrDenied, [this] { return Open(); });
    if (problem != 0) return problem;
    held_ = HoldFile(file_->Descriptor());
    if (!held_) return LastErrorCode() == EBUSY ? EAGAIN : LastErrorCode();
    return StillNames(path_.c_str(), file_->Descriptor()) ? 0 : EAGAIN;
  }

  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  int Open() {
    const int problem = OpenExisting();
    return problem == ENOENT ? Create() : problem;
  }

  int OpenExisting() {
    const OpeningApart apart(path_.c_str(), O_RDWR, kOpeningByte.start, std::chrono::seconds(kRetrySeconds));
    if (!apart.Has()) return EAGAIN;
    file_.emplace(path_.c_str(), O_RDWR);
    return file_->IsOpen() ? 0 : LastErrorCode();
  }

  int Create() {
    OldFile old;
    if (const int problem = old.Read(of_)) return problem;
    file_.emplace(path_.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    const int problem = file_->IsOpen() ? old.access.Apply(file_->Descriptor()) : LastErrorCode();
    if (problem == EEXIST) return EAGAIN;
    if (problem != 0) System().unlink(path_.c_str());
    return problem;
  }

  std::string of_;
  std::string path_;
  std::optional<OpenFile> file_;
  bool held_ = false;
};

// The file with the new contents. Only the writer that has the turn uses this name, so an existing file was
// left by a killed writer.
class Part {
 public:
  explicit Part(const std::string& target) : target_(target), path_(PartOf(target)) {}

  // Removes the part, unless the target has disappeared and only the part has the contents.
  ~Part() {
    if (exists_ && !is_all_that_is_left_) System().unlink(path_.c_str());
  }
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;

  [[nodiscard]] int Write(string_view contents, const FileAccess& access) {
    System().unlink(path_.c_str());
    OpenFile file(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    exists_ = file.IsOpen() || LastErrorCode() != EEXIST;
    if (!file.IsOpen()) return LastErrorCode();
    file.CloseWithoutDelay();
    if (const int problem = WriteAll(file.Descriptor(), contents.data(), contents.size())) return problem;
    if (const int problem = access.Apply(file.Descriptor())) return problem;
    if (const int problem = Sync(file.Descriptor())) return problem;
    return file.Close() ? 0 : LastErrorCode();
  }

  [[nodiscard]] int TakePlaceOfTarget() {
    const int problem = Retry(kRenameSeconds, IsRefusedRename, [this] {
      return System().rename(path_.c_str(), target_.c_str()) == 0 ? 0 : errno;
    });
    exists_ = problem != 0;
    is_all_that_is_left_ = exists_ && !IsStillThere(target_.c_str());
    if (problem == 0) static_cast<void>(SyncFolderOf(target_));
    return problem;
  }

  // Returns the file concerned by a failure: the part if nothing else is left.
  [[nodiscard]] std::string Subject() const { return is_all_that_is_left_ ? path_ : target_; }

 private:
  std::string target_;
  std::string path_;
  bool exists_ = false;
  bool is_all_that_is_left_ = false;
};

// Resolves links, so that the new contents replace the file and not a link. Creates a missing file, unless it
// disappeared in a refused rename and only its part is left.
IniOutcome ResolveOnce(const char* path, std::string& resolved) {
  char target[PATH_MAX];
  if (System().realpath(HostPath(path).Text(), target) == nullptr) {
    const std::string part = PartOf(HostPath(path).Text());
    struct stat status = {};
    if (System().lstat(part.c_str(), &status) == 0) return {EEXIST, part};
    const OpenFile created(path, O_RDWR | O_CREAT);
    if (!created.IsOpen()) return {LastErrorCode(), path};
    if (System().realpath(HostPath(path).Text(), target) == nullptr) return {errno, path};
  }
  resolved = target;
  return {0, {}};
}

// Another writer may be about to give the part the name of the missing file.
IniOutcome Resolve(const char* path, std::string& resolved) {
  IniOutcome outcome = {};
  static_cast<void>(Retry(
      kRetrySeconds, [](int problem) { return problem == EEXIST; },
      [&] {
        outcome = ResolveOnce(path, resolved);
        return outcome.problem;
      }));
  return outcome;
}

IniOutcome Rewrite(const std::string& path, const IniChange& change) {
  OldFile old;
  if (const int problem = old.Read(path)) return {problem, path};
  const std::string contents = EditIni(old.contents, change.section, change.key, change.value);
  if (!change.value && contents == old.contents) return {0, {}};
  Part part(path);
  if (const int problem = part.Write(contents, old.access)) return {problem, path};
  const int problem = part.TakePlaceOfTarget();
  return {problem, part.Subject()};
}

}  // namespace

IniOutcome TryWriteIni(const char* file, const IniChange& change) {
  std::string path;
  if (IniOutcome failed = Resolve(file, path); failed.problem != 0) return failed;
  Turn turn(path);
  if (const int problem = turn.Take()) return {problem, turn.Path()};
  return Rewrite(path, change);
}

}  // namespace tvl
