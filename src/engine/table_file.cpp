#include "engine/table_file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "engine/last_error.h"
#include "engine/patience.h"
#include "store/layout.h"
#include "store/lock_ranges.h"

namespace tvl::engine {
namespace {

constexpr std::chrono::milliseconds kPatienceWithTries{1'000};
constexpr int kMostReplacements = 100;

enum class Attempt { kTaken, kBarred, kFailed };

// Locks the turn byte, then tries to lock `range`, and releases the turn byte. A file that is open for
// reading may share the turn.
class TurnTry {
 public:
  TurnTry(FileNumber file, bool writable)
      : file_(file), turn_(writable ? LockKind::kExclusive : LockKind::kShared) {}

  [[nodiscard]] Attempt Take(LockKind kind, const LockRange& range) {
    while (!TryLock(file_, turn_, kTurnByte)) {
      if (!IsRefusal(errno) || !turn_patience_.Pause()) return Attempt::kFailed;
    }
    turn_patience_ = Patience(kPatienceWithTries);
    const bool taken = TryLock(file_, kind, range);
    const int problem = errno;
    Unlock(file_, kTurnByte);
    errno = problem;
    if (taken) return Attempt::kTaken;
    return IsRefusal(problem) ? Attempt::kBarred : Attempt::kFailed;
  }

 private:
  FileNumber file_;
  LockKind turn_;
  Patience turn_patience_{kPatienceWithTries};
};

// Returns true, or notes an error when the time of the call is over.
bool LockForUse(FileNumber file, bool writable, Patience& patience) {
  TurnTry turn(file, writable);
  Attempt attempt = turn.Take(LockKind::kShared, kUseByte);
  while (attempt == Attempt::kBarred && patience.Pause()) attempt = turn.Take(LockKind::kShared, kUseByte);
  if (attempt != Attempt::kTaken) NoteSystemError("the table is locked", Problem::kBusy);
  return attempt == Attempt::kTaken;
}

// Exclude all users of the file, and also a plain SQLite that is using it.
constexpr LockRange kUsers[] = {kTryRange};
constexpr LockRange kUsersAndSqlite[] = {kTryRange, kSqliteRegion};

bool LockAll(FileNumber file, std::span<const LockRange> ranges) {
  Patience patience(kPatienceWithTries);
  TurnTry turn(file, true);
  for (const LockRange& range : ranges) {
    Attempt attempt = turn.Take(LockKind::kExclusive, range);
    while (attempt == Attempt::kBarred && IsBarredForAMoment(file, range) && patience.Pause()) {
      attempt = turn.Take(LockKind::kExclusive, range);
    }
    if (attempt == Attempt::kTaken) continue;
    NoteSystemError("the table is in use", Problem::kBusy);
    return false;
  }
  return true;
}

}  // namespace

std::string NamedPath(const char* table) {
  std::string path(table);
  std::replace(path.begin(), path.end(), '\\', '/');
  const std::size_t slash = path.rfind('/');
  const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
  const std::size_t point = path.rfind('.');
  if (point != std::string::npos && point >= name) path.erase(point);
  return path + kTableExtension;
}

std::string DataFilePath(const std::string& path) {
  std::string real = RealPath(path);
  if (!real.empty()) return real;
  const std::string folder = RealPath(FolderOfFile(path));
  const std::size_t slash = path.rfind('/');
  return folder.empty() ? path : folder + '/' + path.substr(slash == std::string::npos ? 0 : slash + 1);
}

std::string RealFolder(const std::string& folder) {
  std::string path = folder;
  std::replace(path.begin(), path.end(), '\\', '/');
  // With its slash: a drive without one is the current folder of the drive.
  std::string real = RealPath(path);
  if (real.empty()) real = path;
  while (real.ends_with('/')) real.pop_back();
  return real;
}

TableFile TableFile::Open(const std::string& path, Access access, Purpose purpose) {
  TableFile file(kNoFile, access);
  const bool opened = OpenApart(path, access, [&](bool apart) {
    file.file_ = OpenExistingFile(path, access);
    file.opens_apart_ = apart;
    file.is_shared_ = purpose == Purpose::kUse;
    // A file in use has a lock from the start, or this computer might get a lease to write it.
    if (apart && file.IsOpen() && purpose == Purpose::kUse)
      static_cast<void>(TryLock(file.file_, LockKind::kShared, kUseByte));
  });
  if (!opened) errno = EBUSY;
  return file;
}

TableFile TableFile::OpenExisting(const std::string& path) {
  return Open(path, Access::kReadWrite, Purpose::kReplacement);
}

TableFile TableFile::OpenOrMake(const std::string& path) {
  const FileNumber made = CreateNewFile(path);
  return made != kNoFile || errno != EEXIST ? TableFile(made, Access::kReadWrite) : OpenExisting(path);
}

std::optional<TableFile> TableFile::Share(const std::string& path, Patience& patience) {
  for (int round = 0; round < kMostReplacements; ++round) {
    TableFile file = Open(path, Access::kReadWrite, Purpose::kUse);
    if (!file.IsOpen() && (errno == EACCES || errno == EROFS || errno == EPERM))
      file = Open(path, Access::kRead, Purpose::kUse);
    if (!file.IsOpen()) {
      NoteSystemError("the table cannot be opened", errno == EBUSY ? Problem::kBusy : Problem::kUnusable);
      return std::nullopt;
    }
    if (!file.Identify() || !LockForUse(file.file_, file.writable_, patience)) return std::nullopt;
    if (file.IsStill(path)) return file;
  }
  NoteError("the table is replaced again and again");
  return std::nullopt;
}

std::optional<TableFile> TableFile::Seize(const std::string& path) {
  return SeizeOpened(path, OpenOrMake, kUsersAndSqlite);
}

std::optional<TableFile> TableFile::SeizeExisting(const std::string& path) {
  return SeizeOpened(path, OpenExisting, kUsersAndSqlite);
}

std::optional<TableFile> TableFile::SeizeRows(const std::string& path) {
  return SeizeOpened(path, OpenExisting, kUsers);
}

std::optional<TableFile> TableFile::SeizeOpened(const std::string& path, Opening open,
                                                std::span<const LockRange> ranges) {
  for (int round = 0; round < kMostReplacements; ++round) {
    TableFile file = open(path);
    if (!file.IsOpen() && errno == ENOENT)
      continue;  // removed between the two attempts to open it, or there is no folder
    if (!file.IsOpen()) break;
    if (!file.Identify() || !LockAll(file.file_, ranges)) return std::nullopt;
    if (file.IsStill(path)) return file;
  }
  NoteSystemError(open == OpenOrMake ? "the table cannot be created" : "the table cannot be opened");
  return std::nullopt;
}

TableFile::~TableFile() {
  if (IsOpen()) CloseFile(file_);
}

TableFile& TableFile::operator=(TableFile&& other) noexcept {
  std::swap(file_, other.file_);
  id_ = other.id_;
  writable_ = other.writable_;
  opens_apart_ = other.opens_apart_;
  is_shared_ = other.is_shared_;
  return *this;
}

bool TableFile::Identify() {
  const std::optional<FileId> id = IdOf(file_);
  if (!id) NoteError("the table is not a file");
  id_ = id.value_or(FileId());
  return id.has_value();
}

bool TableFile::OpenAgain(const std::string& path, const std::function<void()>& open) const {
  if (!opens_apart_) {
    open();
    return true;
  }
  const bool opened = OpenApart(path, writable_ ? Access::kReadWrite : Access::kRead, [&](bool) { open(); });
  if (!opened) NoteError("other processes are opening the table", Problem::kBusy);
  return opened;
}

std::string TableFile::Start(std::size_t count) const {
  return StartOf(file_, count);
}

bool TableFile::IsStill(const std::string& path) const {
  return IdOf(path) == id_;
}

}  // namespace tvl::engine
