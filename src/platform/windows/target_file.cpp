#include "platform/target_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/parts.h"
#include "platform/transfer_group.h"
#include "platform/windows/open_file.h"
#include "platform/windows/replace_file.h"
#include "platform/windows/traits.h"

namespace tvl {
namespace {

constexpr int kMostParts = 1000;
constexpr std::uint64_t kSmallPart = 128 * 1024;

constexpr char kSeveralNames[] = "it has several names";
constexpr char kOtherAccess[] = "a new file cannot have its access list";
constexpr char kLink[] = "it is a link";
constexpr char kFolderClosed[] = "its folder is not writable";

}  // namespace

// Tries to create the target first, because nobody can hold a file that this call creates, and no contents
// can be lost.
bool TargetFile::OpenInPlace() {
  const int problem =
      native::Open(path_.c_str(), {.writes = true, .creation = native::Creation::kOnlyNew}, &file_);
  if (problem == EEXIST) return writing_.expects_new ? FailAppeared() : OpenExisting();
  created_ = problem == 0;
  return created_ || Fail(problem);
}

bool TargetFile::OpenExisting() {
  OpenFile existing(path_.c_str(), {.writes = true, .creation = native::Creation::kIfMissing});
  if (!existing.IsOpen()) return false;
  exists_ = true;
  const SourceTraits old = TraitsOf(existing.Status());
  is_source_ = IsSourceFile(old);
  if (is_source_) return true;
  old_size_ = old.size;
  old_allocated_ = old.allocated;
  if (IsHeld(existing.Get())) return Fail(EBUSY);
  file_ = existing.Release();
  return true;
}

// Looks at the target, with links followed, without opening its contents.
bool TargetFile::FindExisting(bool* has_several_names) {
  native::Status status = {};
  const int problem = native::StatusOf(path_.c_str(), true, &status);
  if (problem != 0) return problem == ENOENT || Fail(problem);
  exists_ = true;
  is_source_ = IsSourceFile(TraitsOf(status));
  *has_several_names = status.names > 1;
  return !status.is_folder || Fail(EISDIR);
}

bool TargetFile::OpenPart() {
  bool has_several_names = false;
  native::Status own = {};
  if (LooksFirst() && !FindExisting(&has_several_names)) return false;
  if (exists_ && writing_.expects_new) return FailAppeared();
  if (is_source_) return true;
  if (has_several_names) return FallBack(kSeveralNames);
  if (LooksFirst() && native::StatusOf(path_.c_str(), false, &own) == 0 && own.is_link)
    return FallBack(kLink);
  const int problem = CreatePart();
  if (problem == EACCES || problem == EPERM || problem == EROFS) return FallBack(kFolderClosed);
  if (problem != 0) return Fail(problem);
  if (!exists_ || native::CopyAccess(path_.c_str(), part_.c_str()) == 0) return true;
  DropPart();
  return FallBack(kOtherAccess);
}

// A group renames its parts long after it created them.
bool TargetFile::LooksFirst() const {
  return !writing_.expects_new || writing_.group != nullptr;
}

// Creates the part. Returns 0 or an errno value. If another process removes the part as a dead one before it
// is held, creates it again.
int TargetFile::CreatePart() {
  const std::string folder = path_.substr(0, path_.rfind('\\') + 1);
  for (int tries = 0; tries < kMostParts; ++tries) {
    part_ = folder + NextPartName();
    const int problem =
        native::Open(part_.c_str(), {.writes = true, .creation = native::Creation::kOnlyNew}, &file_);
    if (problem == EEXIST) continue;
    if (problem != 0) return problem;
    is_part_ = true;
    if (!HoldsPart() || KeepPart()) return 0;
    DropPart();
  }
  return EEXIST;
}

// A small part exists only for a moment. If another process removes it in that moment as a dead one, it is
// written again, which costs less than holding each one.
bool TargetFile::HoldsPart() const {
  return writing_.group != nullptr || writing_.holds_small_parts || !has_source_ || source_.size > kSmallPart;
}

// Holds the part. Returns false if it was removed before.
bool TargetFile::KeepPart() {
  // If the file system has no locks, nobody can check for a hold either.
  const bool held = HoldFile(file_) || LastErrorCode() != EBUSY;
  native::Status status = {};
  if (native::StatusOf(file_, &status) == 0) device_ = status.volume;
  return held && StillNames(part_.c_str(), file_);
}

void TargetFile::DropPart() {
  is_part_ = false;
  ReleaseFile(file_);
  static_cast<void>(Close());
  native::Delete(part_.c_str());
}

bool TargetFile::Close() {
  const int problem = native::Close(std::exchange(file_, INVALID_HANDLE_VALUE));
  return problem == 0 || Fail(problem);
}

// Returns whether the free space and the space that the target frees are enough for the source. If that is
// unknown, writing will find out.
bool TargetFile::HasSpace(std::uint64_t freed) const {
  const std::uint64_t needed = std::min(source_.size, source_.allocated);
  const std::string folder = path_.substr(0, path_.rfind('\\') + 1);
  std::uint64_t available = 0;
  if (needed <= freed || native::FreeSpace(folder.c_str(), &available) != 0) return true;
  return needed - freed <= available || Fail(ENOSPC);
}

bool TargetFile::Empty() {
  if (IsNew()) return true;
  if (has_source_ && !HasSpace(old_allocated_)) return false;
  const int problem = old_size_ == 0 ? 0 : native::SetSize(file_, 0);
  return problem == 0 || Fail(problem);
}

bool TargetFile::WriteData(const void* bytes, std::size_t count) {
  const int problem = WriteAll(file_, bytes, count);
  return problem == 0 || Fail(problem);
}

void TargetFile::AllowHoles() {
  native::AllowHoles(file_);
}

bool TargetFile::SkipBlock() {
  const int problem = native::Seek(file_, kHoleBlock, native::From::kHere, nullptr);
  return problem == 0 || Fail(problem);
}

bool TargetFile::EndHole() {
  if (!ends_in_hole_) return true;
  std::int64_t end = 0;
  int problem = native::Seek(file_, 0, native::From::kHere, &end);
  if (problem == 0) problem = native::SetSize(file_, static_cast<std::uint64_t>(end));
  return problem == 0 || Fail(problem);
}

bool TargetFile::SetTimes(const FILETIME* accessed, const FILETIME& written) {
  const native::Time access = accessed != nullptr ? NativeTime(*accessed) : native::Time{};
  const native::Time write = NativeTime(written);
  const int problem = native::SetTimes(file_, accessed != nullptr ? &access : nullptr, &write);
  return problem == 0 || Fail(problem);
}

bool TargetFile::FinishInPlace() {
  const int problem = writing_.safety == Safety::kSynced ? native::Flush(file_) : 0;
  if (!Close()) return false;
  if (problem != 0) return Fail(problem);
  if (writing_.group != nullptr) writing_.group->TakeDone();
  return true;
}

bool TargetFile::FinishPart() {
  const bool synced = writing_.safety == Safety::kSynced;
  if (synced && writing_.group != nullptr) {
    writing_.group->Take({file_, part_, path_, exists_, device_}, source_.allocated, writing_.failure);
    file_ = INVALID_HANDLE_VALUE;
    return true;
  }
  if (const int problem = synced ? native::Flush(file_) : 0) return Fail(problem);
  is_part_ = false;
  // Otherwise the file would still be held after the rename, and the next copy would be refused.
  ReleaseFile(file_);
  if (!Close()) {
    native::Delete(part_.c_str());
    return false;
  }
  const Replacement replacement = ReplaceFile(part_.c_str(), path_.c_str(), !exists_ && !LooksFirst());
  if (replacement == Replacement::kPartLost && !HoldsPart()) why_ = Outcome::kPartLost;
  if (replacement == Replacement::kAppeared) why_ = Outcome::kAppeared;
  if (replacement != Replacement::kDone) return false;
  if (writing_.group != nullptr) writing_.group->TakeDone();
  return true;
}

void TargetFile::Discard() {
  if (is_part_) {
    DropPart();
    return;
  }
  if (!created_) return;
  const bool is_ours = file_ == INVALID_HANDLE_VALUE || StillNames(path_.c_str(), file_);
  if (file_ != INVALID_HANDLE_VALUE) static_cast<void>(Close());
  if (is_ours) native::Delete(path_.c_str());
}

}  // namespace tvl
