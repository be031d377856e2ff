#include "engine/table_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>

#include "engine/last_error.h"
#include "engine/patience.h"
#include "host/file_lock.h"
#include "host/fork_guard.h"
#include "host/opening_apart.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "store/layout.h"
#include "store/lock_ranges.h"

namespace tvl::engine {
namespace {

constexpr std::chrono::milliseconds kPatienceWithTries{1'000};
constexpr int kMostReplacements = 100;
constexpr mode_t kReadWriteBits = 0666;

enum class Attempt { kTaken, kBarred, kFailed };

// Locks the turn byte, then tries to lock `range`, and releases the turn byte. A read-only descriptor may
// share the turn.
class TurnTry {
 public:
  TurnTry(int descriptor, bool writable) : descriptor_(descriptor), type_(writable ? F_WRLCK : F_RDLCK) {}

  [[nodiscard]] Attempt Take(short type, const LockRange& range) {
    while (!TryLock(descriptor_, type_, kTurnByte)) {
      if (!IsRefusal(errno) || !turnPatience_.Pause()) return Attempt::kFailed;
    }
    turnPatience_ = Patience(kPatienceWithTries);
    const bool taken = TryLock(descriptor_, type, range);
    const int problem = errno;
    Unlock(descriptor_, kTurnByte);
    errno = problem;
    if (taken) return Attempt::kTaken;
    return IsRefusal(problem) ? Attempt::kBarred : Attempt::kFailed;
  }

 private:
  int descriptor_;
  short type_;
  Patience turnPatience_{kPatienceWithTries};
};

// Returns true, or notes an error when the time of the call is over.
bool LockForUse(int descriptor, bool writable, Patience& patience) {
  TurnTry turn(descriptor, writable);
  Attempt attempt = turn.Take(F_RDLCK, kUseByte);
  while (attempt == Attempt::kBarred && patience.Pause()) attempt = turn.Take(F_RDLCK, kUseByte);
  if (attempt != Attempt::kTaken) NoteSystemError("the table is locked", Problem::kBusy);
  return attempt == Attempt::kTaken;
}

// Returns true if the conflicting lock will be released in a moment: it is the try of an earlier release, or
// of a process that is creating the file.
bool IsBarredForAMoment(int descriptor, const LockRange& range) {
  struct flock found = AsLock(F_WRLCK, range);
  struct stat status = {};
  if (System().lock(descriptor, F_OFD_GETLK, &found) != 0 || System().fstat(descriptor, &status) != 0)
    return false;
  const bool isTry = found.l_start == kEarlierTry.start && found.l_len == kEarlierTry.length;
  return found.l_type == F_UNLCK || isTry || status.st_size == 0;
}

// Exclude all users of the file, and also a plain SQLite that is using it.
constexpr LockRange kUsers[] = {kTryRange};
constexpr LockRange kUsersAndSqlite[] = {kTryRange, kSqliteRegion};

bool LockAll(int descriptor, std::span<const LockRange> ranges) {
  Patience patience(kPatienceWithTries);
  TurnTry turn(descriptor, true);
  for (const LockRange& range : ranges) {
    Attempt attempt = turn.Take(F_WRLCK, range);
    while (attempt == Attempt::kBarred && IsBarredForAMoment(descriptor, range) && patience.Pause()) {
      attempt = turn.Take(F_WRLCK, range);
    }
    if (attempt == Attempt::kTaken) continue;
    NoteSystemError("the table is in use", Problem::kBusy);
    return false;
  }
  return true;
}

// Non-blocking, because opening something other than a file might block.
int OpenWithoutBlocking(const std::string& path, int access) {
  return ForkGuard::Open(path.c_str(), access | O_NONBLOCK, 0);
}

std::string RealPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&free)> real(System().realpath(path.c_str(), nullptr), free);
  return real != nullptr ? real.get() : std::string();
}

}  // namespace

void TakeModeOfFolder(int descriptor, const std::string& path) {
  struct stat folder = {};
  if (System().stat(FolderOf(path).c_str(), &folder) == 0)
    System().fchmod(descriptor, folder.st_mode & kReadWriteBits);
}

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
  const std::string folder = RealPath(FolderOf(path));
  const std::size_t slash = path.rfind('/');
  return folder.empty() ? path : folder + '/' + path.substr(slash == std::string::npos ? 0 : slash + 1);
}

std::string RealFolder(const std::string& folder) {
  std::string path = folder;
  std::replace(path.begin(), path.end(), '\\', '/');
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  std::string real = RealPath(path);
  return real.empty() ? path : real;
}

TableFile TableFile::Open(const std::string& path, int access, Purpose purpose) {
  const OpeningApart apart(path.c_str(), access, kOpeningByte.start, kPatience);
  TableFile file(apart.Has() ? OpenWithoutBlocking(path, access) : -1, access == O_RDWR);
  if (!apart.Has()) errno = EBUSY;
  file.isOnSmb_ = apart.IsNeeded();
  // A file in use has a lock from the start, or this computer might get a lease to write it.
  if (file.isOnSmb_ && file.IsOpen() && purpose == Purpose::kUse)
    static_cast<void>(TryLock(file.descriptor_, F_RDLCK, kUseByte));
  return file;
}

TableFile TableFile::OpenExisting(const std::string& path) {
  return Open(path, O_RDWR, Purpose::kReplacement);
}

TableFile TableFile::OpenOrMake(const std::string& path) {
  const int made = ForkGuard::Open(path.c_str(), O_RDWR | O_CREAT | O_EXCL, kReadWriteBits);
  if (made >= 0) TakeModeOfFolder(made, path);
  return made >= 0 || errno != EEXIST ? TableFile(made, true) : OpenExisting(path);
}

std::optional<TableFile> TableFile::Share(const std::string& path, Patience& patience) {
  for (int round = 0; round < kMostReplacements; ++round) {
    TableFile file = Open(path, O_RDWR, Purpose::kUse);
    if (!file.IsOpen() && (errno == EACCES || errno == EROFS || errno == EPERM))
      file = Open(path, O_RDONLY, Purpose::kUse);
    if (!file.IsOpen()) {
      NoteSystemError("the table cannot be opened", errno == EBUSY ? Problem::kBusy : Problem::kUnusable);
      return std::nullopt;
    }
    if (!file.Identify() || !LockForUse(file.descriptor_, file.writable_, patience)) return std::nullopt;
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
    if (!file.Identify() || !LockAll(file.descriptor_, ranges)) return std::nullopt;
    if (file.IsStill(path)) return file;
  }
  NoteSystemError(open == OpenOrMake ? "the table cannot be created" : "the table cannot be opened");
  return std::nullopt;
}

// Unlocks explicitly, because a child that was just forked may still have the file open too.
TableFile::~TableFile() {
  if (descriptor_ < 0) return;
  Unlock(descriptor_, kWholeFile);
  ForkGuard::Close(descriptor_);
}

TableFile& TableFile::operator=(TableFile&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  id_ = other.id_;
  writable_ = other.writable_;
  isOnSmb_ = other.isOnSmb_;
  return *this;
}

bool TableFile::Identify() {
  struct stat status = {};
  if (System().fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
    NoteError("the table is not a file");
    return false;
  }
  id_ = IdentityOf(status);
  return true;
}

std::string TableFile::Start(std::size_t count) const {
  std::string bytes(count, '\0');
  const ssize_t length = System().pread(descriptor_, bytes.data(), count, 0);
  bytes.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return bytes;
}

bool TableFile::IsStill(const std::string& path) const {
  return IdentityOf(path.c_str()) == id_;
}

}  // namespace tvl::engine
