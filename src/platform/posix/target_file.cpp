#include "platform/target_file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "host/file_access.h"
#include "host/file_lock.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "host/write_all.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/parts.h"
#include "platform/posix/descriptor_of.h"
#include "platform/posix/folder_of_file.h"
#include "platform/posix/open_file.h"
#include "platform/posix/replace_file.h"
#include "platform/posix/set_times.h"
#include "platform/posix/traits.h"
#include "platform/transfer_group.h"

namespace tvl {
namespace {

constexpr int kMostLinks = 40;
constexpr int kMostParts = 1000;
constexpr std::uint64_t kSmallPart = 128 * 1024;
constexpr unsigned int kUsualMode = 0666;
constexpr unsigned int kOwnerOnly = 0600;
constexpr unsigned int kRightBits = 0777;
constexpr unsigned int kExecuteBits = 0111;

constexpr char kSeveralNames[] = "it has several names";
constexpr char kOtherOwner[] = "a new file cannot have its owner, group or access list";
constexpr char kFolderClosed[] = "its folder is not writable";

// Replaces `path` by the target of the link at `path`. Resolves one link only.
bool FollowLink(std::string& path) {
  char target[4096];
  const ssize_t length = System().readlinkat(AT_FDCWD, path.c_str(), target, sizeof target);
  if (length <= 0 || static_cast<std::size_t>(length) == sizeof target) return false;
  const std::string next(target, static_cast<std::size_t>(length));
  path = next.front() == '/' ? next : FolderOf(path) + next;
  return true;
}

// Sets the owner, mode and access lists of a part to those of the file that it will replace.
bool TakesAccessOf(const char* target, int part) {
  const OpenFile file(target, O_RDONLY | O_NOFOLLOW, 0, OpenFile::Look::kDone);
  FileAccess access;
  return file.IsOpen() && access.Read(file.Descriptor()) == 0 &&
         access.Apply(part, FileAccess::Owner::kKept) == 0;
}

}  // namespace

unsigned int TargetFile::NewMode() const {
  return has_source_ ? source_.mode & kRightBits : kUsualMode;
}

// The handle of a new file, or INVALID_HANDLE_VALUE with errno. In a folder that hands its group down, the
// group gets the folder's rights, whatever the umask: the members of that group are to work on each other's
// files.
HANDLE TargetFile::Create(const std::string& path, unsigned int mode) const {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;
  const int file = System().open(path.c_str(), kFlags, mode);
  if (file < 0 || exists_) return file;
  const int bits = InheritedGroupBits(FolderOf(path));
  struct stat status = {};
  if (bits < 0 || System().fstat(file, &status) != 0) return file;
  const unsigned int execute = (mode & kExecuteBits) != 0 ? kRightBits : kRightBits & ~kExecuteBits;
  const unsigned int group = static_cast<unsigned int>(bits) & execute;
  System().fchmod(file, (status.st_mode & ~static_cast<mode_t>(S_IRWXG) & 07777U) | group);
  return file;
}

// Tries to create the target first, because nobody can hold a file that this call creates, and no contents
// can be lost.
bool TargetFile::OpenInPlace() {
  const HANDLE file = Create(path_, NewMode());
  if (file < 0 && errno == EEXIST) return writing_.expects_new ? FailAppeared() : OpenExisting();
  if (file < 0) return Fail(errno);
  file_ = file;
  created_ = true;
  return true;
}

// Uses O_CREAT for a dangling link.
bool TargetFile::OpenExisting() {
  OpenFile existing(path_.c_str(), O_WRONLY | O_CREAT, NewMode());
  if (!existing.IsOpen()) return false;
  exists_ = true;
  const SourceTraits old = TraitsOf(existing.Status());
  is_source_ = IsSourceFile(old);
  if (is_source_) return true;
  old_size_ = old.size;
  old_allocated_ = old.allocated;
  if (IsHeld(existing.Descriptor())) return Fail(EBUSY);
  file_ = existing.Release();
  return true;
}

// Looks for the target without opening it. Follows links, because the part must be next to the file itself.
bool TargetFile::FindExisting(bool* has_several_names) {
  struct stat status = {};
  for (int links = 0; links < kMostLinks; ++links) {
    if (System().lstat(path_.c_str(), &status) != 0) return errno == ENOENT || Fail(errno);
    exists_ = !S_ISLNK(status.st_mode);
    if (exists_) {
      is_source_ = IsSourceFile(TraitsOf(status));
      *has_several_names = status.st_nlink > 1;
      if (S_ISREG(status.st_mode)) return true;
      return Fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    if (!FollowLink(path_)) return Fail(errno);
  }
  return Fail(ELOOP);
}

bool TargetFile::OpenPart() {
  bool has_several_names = false;
  if (LooksFirst() && !FindExisting(&has_several_names)) return false;
  if (exists_ && writing_.expects_new) return FailAppeared();
  if (is_source_) return true;
  if (has_several_names) return FallBack(kSeveralNames);
  const int problem = CreatePart();
  if (problem == EACCES || problem == EPERM || problem == EROFS) return FallBack(kFolderClosed);
  if (problem != 0) return Fail(problem);
  if (!exists_ || TakesAccessOf(path_.c_str(), DescriptorOf(file_))) return true;
  DropPart();
  return FallBack(kOtherOwner);
}

// A group of level 2 renames its parts long after it created them.
bool TargetFile::LooksFirst() const {
  return !writing_.expects_new || (writing_.group != nullptr && IsSynced());
}

// Creates the part. Returns 0 or an errno value. If another process removes the part as a dead one before it
// is held, creates it again.
int TargetFile::CreatePart() {
  const std::string folder = FolderOf(path_);
  for (int tries = 0; tries < kMostParts; ++tries) {
    part_ = folder + NextPartName();
    const HANDLE file = Create(part_, exists_ ? kOwnerOnly : NewMode());
    if (file < 0 && errno == EEXIST) continue;
    if (file < 0) return errno;
    file_ = file;
    is_part_ = true;
    if (!HoldsPart() || KeepPart()) return 0;
    const int problem = errno;
    DropPart();
    if (problem != 0) return problem;
  }
  return EEXIST;
}

// A small part exists only for a moment. If another process removes it in that moment as a dead one, it is
// written again, which costs less than holding each one.
bool TargetFile::HoldsPart() const {
  return (writing_.group != nullptr && IsSynced()) || writing_.holds_small_parts || !has_source_ ||
         source_.size > kSmallPart;
}

// Holds the part. Returns false if it was removed before, with 0 in `errno`, or cannot be examined.
bool TargetFile::KeepPart() {
  // If the file system has no locks, nobody can check for a hold either.
  const bool held = HoldFile(file_) || LastErrorCode() != EBUSY;
  struct stat status = {};
  if (System().fstat(DescriptorOf(file_), &status) != 0) return false;
  device_ = status.st_dev;
  errno = 0;
  return held && status.st_nlink > 0;
}

void TargetFile::DropPart() {
  is_part_ = false;
  if (process_ == GetCurrentProcessId()) System().unlink(part_.c_str());
  ReleaseFile(file_);
  static_cast<void>(Close());
}

bool TargetFile::Close() {
  if (System().close(DescriptorOf(std::exchange(file_, INVALID_HANDLE_VALUE))) == 0) return true;
  return Fail(errno);
}

// Returns whether the free space and the space that the target frees are enough for the source. If that is
// unknown, writing will find out.
bool TargetFile::HasSpace(std::uint64_t freed) const {
  rlimit largest = {};
  if (getrlimit(RLIMIT_FSIZE, &largest) == 0 && source_.size > largest.rlim_cur) return Fail(EFBIG);
  const std::uint64_t needed = std::min(source_.size, source_.allocated);
  struct statfs status = {};
  if (needed <= freed || System().fstatfs(DescriptorOf(file_), &status) != 0 || status.f_blocks == 0)
    return true;
  const std::uint64_t blocks = geteuid() == 0 ? status.f_bfree : status.f_bavail;
  const auto block = static_cast<std::uint64_t>(status.f_frsize != 0 ? status.f_frsize : status.f_bsize);
  return needed - freed <= blocks * block || Fail(ENOSPC);
}

bool TargetFile::Empty() {
  if (IsNew()) return true;
  if (has_source_ && !HasSpace(old_allocated_)) return false;
  return old_size_ == 0 || System().ftruncate(DescriptorOf(file_), 0) == 0 || Fail(errno);
}

bool TargetFile::WriteData(const void* bytes, std::size_t count) {
  const int problem = WriteAll(DescriptorOf(file_), bytes, count);
  return problem == 0 || Fail(problem);
}

// Every file may have them.
void TargetFile::AllowHoles() {}

bool TargetFile::SkipBlock() {
  return System().lseek(DescriptorOf(file_), kHoleBlock, SEEK_CUR) >= 0 || Fail(errno);
}

bool TargetFile::EndHole() {
  if (!ends_in_hole_) return true;
  const off_t end = System().lseek(DescriptorOf(file_), 0, SEEK_CUR);
  return (end >= 0 && System().ftruncate(DescriptorOf(file_), end) == 0) || Fail(errno);
}

bool TargetFile::SetTimes(const FILETIME* accessed, const FILETIME& written) {
  NewTimes times = {std::nullopt, written};
  if (accessed != nullptr) times.accessed = *accessed;
  const bool is_replaced_later = is_part_ && writing_.group != nullptr && !IsSynced();
  if (is_replaced_later && writing_.group->SetsTimesLater()) {
    later_times_ = times;
    return true;
  }
  if (const int problem = SetTimesOf(DescriptorOf(file_), times)) return Fail(problem);
  if (is_replaced_later) writing_.group->NoteTimesSet();
  return true;
}

bool TargetFile::FinishInPlace() {
  const int problem = writing_.safety == Safety::kSynced ? Sync(DescriptorOf(file_)) : 0;
  if (!Close()) return false;
  if (problem != 0) return Fail(problem);
  if (writing_.safety == Safety::kSynced && created_ && !SyncNameOf(path_)) return false;
  if (writing_.group != nullptr) writing_.group->TakeDone();
  return true;
}

bool TargetFile::FinishPart() {
  if (writing_.group != nullptr) {
    PassToGroup();
    return true;
  }
  const bool synced = IsSynced();
  if (const int problem = synced ? Sync(DescriptorOf(file_)) : 0) return Fail(problem);
  is_part_ = false;
  // Otherwise the file would still be held after the rename, and the next copy would be refused.
  ReleaseFile(file_);
  CloseWithoutDelay(DescriptorOf(file_));
  if (!Close()) {
    System().unlink(part_.c_str());
    return false;
  }
  const Target known = exists_ ? Target::kExists : LooksFirst() ? Target::kMissing : Target::kMissingForSure;
  const Replacement replacement = ReplaceFile(part_.c_str(), path_.c_str(), known);
  if (replacement == Replacement::kPartLost && !HoldsPart()) why_ = Outcome::kPartLost;
  if (replacement == Replacement::kAppeared) why_ = Outcome::kAppeared;
  if (replacement != Replacement::kDone) return false;
  return !synced || SyncNameOf(path_);
}

void TargetFile::PassToGroup() {
  FinishedPart part = {file_, part_, path_, exists_, device_, LooksFirst(), later_times_};
  if (IsSynced())
    writing_.group->Take(std::move(part), source_.allocated, writing_.failure);
  else
    writing_.group->Replace(std::move(part), writing_.failure);
  file_ = INVALID_HANDLE_VALUE;
}

void TargetFile::Discard() {
  if (is_part_) {
    DropPart();
    return;
  }
  if (!created_) return;
  if (file_ == INVALID_HANDLE_VALUE || StillNames(path_.c_str(), file_)) System().unlink(path_.c_str());
}

}  // namespace tvl
