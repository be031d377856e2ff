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
#include "engine/lock_descriptors.h"
#include "engine/patience.h"

namespace tvl::engine {
namespace {

constexpr off_t kUseByte = off_t{1} << 40;
constexpr off_t kTryLength = off_t{1} << 62;
constexpr off_t kToTheEnd = 0;
constexpr std::chrono::milliseconds kPatienceWithTries{1'000};
constexpr int kMostReplacements = 100;
constexpr mode_t kReadWriteBits = 0666;

struct flock Range(short type, off_t start, off_t length) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = length;
  return lock;
}

bool IsRefusal(int problem) {
  return problem == EAGAIN || problem == EACCES;
}

// True, or a noted error after the time that a call waits.
bool LockForUse(int descriptor) {
  Patience patience;
  for (;;) {
    struct flock lock = Range(F_RDLCK, kUseByte, 1);
    if (fcntl(descriptor, F_OFD_SETLK, &lock) == 0) return true;
    if (!IsRefusal(errno) || !patience.Pause()) break;
  }
  NoteSystemError("the table is locked", Problem::kBusy);
  return false;
}

// True if what bars the whole file is over in a moment: somebody else's try, or a file that is only being
// made.
bool IsBarredForAMoment(int descriptor) {
  struct flock found = Range(F_WRLCK, 0, kToTheEnd);
  struct stat status = {};
  if (fcntl(descriptor, F_OFD_GETLK, &found) != 0 || fstat(descriptor, &status) != 0) return false;
  const bool isTry = found.l_start == 0 && found.l_len == kTryLength;
  return found.l_type == F_UNLCK || isTry || status.st_size == 0;
}

bool LockWhole(int descriptor) {
  Patience patience(kPatienceWithTries);
  for (;;) {
    struct flock lock = Range(F_WRLCK, 0, kToTheEnd);
    if (fcntl(descriptor, F_OFD_SETLK, &lock) == 0) return true;
    if (!IsRefusal(errno)) break;
    if (!IsBarredForAMoment(descriptor) || !patience.Pause()) break;
  }
  NoteSystemError("the table is in use", Problem::kBusy);
  return false;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// Whoever may write in the folder must be able to use the table, whatever this process's umask is.
void TakeModeOfFolder(int descriptor, const std::string& path) {
  struct stat folder = {};
  if (stat(FolderOf(path).c_str(), &folder) == 0) fchmod(descriptor, folder.st_mode & kReadWriteBits);
}

int OpenOrMake(const std::string& path) {
  const int made = OpenForLocks(path.c_str(), O_RDWR | O_CREAT | O_EXCL, kReadWriteBits);
  if (made >= 0) TakeModeOfFolder(made, path);
  return made >= 0 || errno != EEXIST ? made : OpenForLocks(path.c_str(), O_RDWR | O_NONBLOCK, 0);
}

std::string RealPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), free);
  return real != nullptr ? real.get() : std::string();
}

}  // namespace

std::string NamedPath(const char* table) {
  std::string path(table);
  std::replace(path.begin(), path.end(), '\\', '/');
  const std::size_t slash = path.rfind('/');
  const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
  const std::size_t point = path.rfind('.');
  if (point != std::string::npos && point >= name) path.erase(point);
  return path + ".dat";
}

std::string DataFilePath(const std::string& path) {
  std::string real = RealPath(path);
  if (!real.empty()) return real;
  const std::string folder = RealPath(FolderOf(path));
  const std::size_t slash = path.rfind('/');
  return folder.empty() ? path : folder + '/' + path.substr(slash == std::string::npos ? 0 : slash + 1);
}

std::optional<TableFile> TableFile::Share(const std::string& path) {
  for (int round = 0; round < kMostReplacements; ++round) {
    // Non-blocking, or something else than a file might keep us.
    bool writable = true;
    int descriptor = OpenForLocks(path.c_str(), O_RDWR | O_NONBLOCK, 0);
    if (descriptor < 0 && (errno == EACCES || errno == EROFS || errno == EPERM)) {
      writable = false;
      descriptor = OpenForLocks(path.c_str(), O_RDONLY | O_NONBLOCK, 0);
    }
    if (descriptor < 0) {
      NoteSystemError("the table can't be opened");
      return std::nullopt;
    }
    TableFile file(descriptor, writable);
    if (!file.Identify() || !LockForUse(descriptor)) return std::nullopt;
    if (file.IsStill(path)) return file;
  }
  NoteError("the table is being replaced all the time");
  return std::nullopt;
}

std::optional<TableFile> TableFile::Seize(const std::string& path) {
  for (int round = 0; round < kMostReplacements; ++round) {
    const int descriptor = OpenOrMake(path);
    if (descriptor < 0 && errno == ENOENT)
      continue;  // went between the two ways to open it, or there is no folder
    if (descriptor < 0) break;
    TableFile file(descriptor, true);
    if (!file.Identify() || !LockWhole(descriptor)) return std::nullopt;
    if (file.IsStill(path)) return file;
  }
  NoteSystemError("the table can't be made");
  return std::nullopt;
}

// Unlocks besides, since a child forked a moment ago may still have the open file too.
TableFile::~TableFile() {
  if (descriptor_ < 0) return;
  struct flock lock = Range(F_UNLCK, 0, kToTheEnd);
  fcntl(descriptor_, F_OFD_SETLK, &lock);
  CloseForLocks(descriptor_);
}

bool TableFile::Identify() {
  struct stat status = {};
  if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
    NoteError("the table is no file");
    return false;
  }
  id_ = {status.st_dev, status.st_ino};
  return true;
}

bool TableFile::IsStill(const std::string& path) const {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && FileId{status.st_dev, status.st_ino} == id_;
}

}  // namespace tvl::engine
