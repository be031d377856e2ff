#include "server/files/put_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>

#include <tvlclient/errors.h>

#include "host/file_access.h"
#include "host/file_identity.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "host/write_all.h"
#include "platform/held_file.h"
#include "server/files/names.h"
#include "store/part_name.h"

namespace tvl::server {
namespace {

constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kModeBits = 0777;  // files from clients never get setuid or setgid bits
constexpr int kTries = 100;
constexpr int kFolderTries = 5;
constexpr unsigned int kExpandedPiece = 16384;
constexpr std::uint64_t kMostExpandedAtOnce = std::uint64_t{1} << 20U;
constexpr std::uint64_t kStretch = std::uint64_t{1} << 20U;
constexpr int kTargetFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

bool Names(const Place& place, const std::string& name, int file) {
  const std::optional<FileIdentity> opened = IdentityOf(file);
  return opened && CheckName(place.folder.Get(), name.c_str(), *opened) == 0;
}

bool IsRegular(int file) {
  struct stat status = {};
  return System().fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

// Returns true if a put may replace the target: a regular file that nobody holds, or none.
bool IsReplaceable(const Place& place) {
  const Descriptor target(System().openat(place.folder.Get(), place.base.c_str(), kTargetFlags, 0));
  if (!target.IsOpen()) return errno == ENOENT;
  return IsRegular(target.Get()) && !IsHeld(target.Get());
}

// A rename over a target that is known not to be held.
struct Replacement {
  const Place& place;
  const std::string& part;
  int target;
  bool done;
};

void RenameProbed(void* argument) {
  auto* replacement = static_cast<Replacement*>(argument);
  const Place& place = replacement->place;
  const int folder = place.folder.Get();
  replacement->done = Names(place, place.base, replacement->target) &&
                      System().renameat(folder, replacement->part.c_str(), folder, place.base.c_str()) == 0;
}

bool RenameToNew(const Place& place, const std::string& part) {
  const int folder = place.folder.Get();
  if (System().renameat_noreplace(folder, part.c_str(), folder, place.base.c_str()) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // The file system cannot refuse by itself, but the name did not exist a moment ago.
  return System().renameat(folder, part.c_str(), folder, place.base.c_str()) == 0;
}

}  // namespace

PutFile::PutFile(const Shared& shared, const Limits& limits, bool packed)
    : shared_(shared), limits_(limits), inflater_(packed ? std::make_unique<Inflater>() : nullptr) {}

PutFile::~PutFile() {
  DropPart();
  LeaveFolders();
}

void PutFile::LeaveFolders() {
  if (!landed_ && place_.folder.IsOpen())
    shared_.root.RemoveFolders(shared_.made_folders.Drop(place_.folder_path));
}

int PutFile::Find(const std::string& name) {
  LeaveFolders();
  place_ = {};
  std::optional<Place> place = shared_.root.FindOrMake(name, made_);
  // Another process may have removed a folder on the path in the meantime.
  for (int tries = 0; !place && errno == ENOENT && tries < kFolderTries; ++tries) {
    place = shared_.root.FindOrMake(name, made_);
  }
  if (!place) {
    std::reverse(made_.begin(), made_.end());
    shared_.root.RemoveFolders(made_);
    return TVL_ERR_SERVER_FILE;
  }
  place_ = std::move(*place);
  name_ = name;
  shared_.made_folders.Use(place_.folder_path, made_);
  return TVL_OK;
}

int PutFile::Begin() {
  if (inflater_ && !inflater_->IsReady()) return TVL_ERR_COPY;
  for (int tries = 0; tries < kTries; ++tries) {
    if (!IsReplaceable(place_)) return TVL_ERR_COPY;
    if (MakePart()) return TVL_OK;
    if (errno == EEXIST) continue;
    // The folder was removed with another put, which had created it and was dropped.
    if (errno != ENOENT) break;
    if (const int code = Find(name_)) return code;
  }
  return TVL_ERR_COPY;
}

// Returns false with EEXIST if the name exists, or if another process removed the file as a leftover.
bool PutFile::MakePart() {
  part_name_ = PartName(static_cast<unsigned int>(getpid()), shared_.parts.NextNumber());
  note_ = shared_.parts.Note(place_.folder_path.empty() ? part_name_ : place_.folder_path + "/" + part_name_);
  if (note_ < 0) return false;
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  part_ = Descriptor(System().openat(place_.folder.Get(), part_name_.c_str(), kFlags, kNewFileMode));
  if (part_.IsOpen() && HoldPart()) return true;
  const int problem = part_.IsOpen() ? EEXIST : errno;
  DropPart();
  errno = problem;
  return false;
}

bool PutFile::HoldPart() {
  return HoldFile(part_.Get()) && Names(place_, part_name_, part_.Get());
}

void PutFile::DropPart() {
  if (part_.IsOpen()) {
    if (!landed_) System().unlinkat(place_.folder.Get(), part_name_.c_str(), 0);
    ReleaseFile(part_.Get());
    part_ = Descriptor();
  }
  if (note_ >= 0) shared_.parts.Strike(note_);
  note_ = -1;
}

int PutFile::Write(const char* bytes, std::size_t count) {
  if (!inflater_) return WritePlain(bytes, count);
  inflater_->Put(bytes, static_cast<unsigned int>(count));
  return WriteExpanded();
}

int PutFile::WritePlain(const char* bytes, std::size_t count) {
  size_ += count;
  if (!MayHave(size_) || !HasSpace() || WriteAll(part_.Get(), bytes, count) != 0) return TVL_ERR_COPY;
  return TVL_OK;
}

// Checked once for each stretch, because on a share the check costs a round trip.
bool PutFile::HasSpace() {
  if (size_ <= vouched_) return true;
  if (!limits_.free.Allows(part_.Get(), kStretch)) return false;
  vouched_ = size_ + kStretch;
  return true;
}

int PutFile::WriteExpanded() {
  char output[kExpandedPiece];
  const std::uint64_t end = size_ + kMostExpandedAtOnce;
  more_ = false;
  while (const unsigned int produced = inflater_->Take(output, sizeof output)) {
    if (const int code = WritePlain(output, produced)) return code;
    more_ = size_ >= end;
    if (more_) return TVL_OK;
  }
  return inflater_->IsBroken() ? TVL_ERR_UNZIP : TVL_OK;
}

int PutFile::End(std::int64_t& time) {
  if (inflater_ && !inflater_->IsAtEnd()) return TVL_ERR_UNZIP;
  time = ::time(nullptr);
  if (!Settle(time)) return TVL_ERR_COPY;
  // Otherwise the file would still be held after the rename, and the next put with this name would be
  // refused.
  ReleaseFile(part_.Get());
  if (!Replace()) return TVL_ERR_COPY;
  landed_ = true;
  shared_.made_folders.Keep(place_.folder_path);
  static_cast<void>(SyncFolder(place_.folder.Get(), "."));
  shared_.root.SyncAbove(made_);
  DropPart();
  return TVL_OK;
}

// Sets the time and the access rights of the part, which are those of the file that it replaces, and syncs
// it.
bool PutFile::Settle(std::int64_t time) const {
  const int part = part_.Get();
  const timespec times[2] = {{time, 0}, {time, 0}};
  return TakeAccess() && System().futimens(part, times) == 0 && Sync(part) == 0;
}

// A part with other access rights than the old file must not replace it.
bool PutFile::TakeAccess() const {
  const Descriptor target(System().openat(place_.folder.Get(), place_.base.c_str(), kTargetFlags, 0));
  if (!target.IsOpen()) return errno == ENOENT;
  struct stat status = {};
  FileAccess access;
  return System().fstat(target.Get(), &status) == 0 && access.Read(target.Get()) == 0 &&
         access.Apply(part_.Get()) == 0 && System().fchmod(part_.Get(), status.st_mode & kModeBits) == 0;
}

bool PutFile::Replace() const {
  for (int tries = 0; tries < kTries; ++tries) {
    const Descriptor target(System().openat(place_.folder.Get(), place_.base.c_str(), kTargetFlags, 0));
    if (!target.IsOpen()) {
      if (errno != ENOENT) return false;
      if (RenameToNew(place_, part_name_)) return true;
      if (errno != EEXIST) return false;
      continue;
    }
    if (!IsRegular(target.Get())) return false;
    Replacement replacement = {place_, part_name_, target.Get(), false};
    if (!WhileUnheld(target.Get(), RenameProbed, &replacement)) return false;
    if (replacement.done) return true;
  }
  return false;
}

}  // namespace tvl::server
