#include "engine/system.h"

#include <algorithm>
#include <cstdio>

#include "platform/last_error.h"
#include "platform/windows/native.h"

namespace tvl::engine {
namespace {

constexpr std::size_t kLongestRealPath = 260;

bool Succeeded(int problem) {
  errno = problem;
  return problem == 0;
}

FileNumber Open(const std::string& path, const native::Opening& opening) {
  FileNumber file = kNoFile;
  return Succeeded(native::Open(path.c_str(), opening, &file)) ? file : kNoFile;
}

std::optional<FileId> IdOfRegular(int problem, const native::Status& status) {
  if (!Succeeded(problem) || status.is_folder || status.is_link) return std::nullopt;
  return FileId{status.volume, status.number};
}

// Returns 0 or an errno value.
int ReadUpTo(FileNumber file, std::size_t count, std::string& bytes) {
  bytes.resize(count);
  std::size_t length = 0;
  int problem = 0;
  for (std::size_t more = 1; problem == 0 && more > 0 && length < count; length += more)
    problem = native::Read(file, bytes.data() + length, count - length, &more);
  bytes.resize(length);
  return problem;
}

int WriteAll(FileNumber file, std::string_view bytes) {
  for (std::size_t done = 0; !bytes.empty(); bytes.remove_prefix(done)) {
    if (const int problem = native::Write(file, bytes.data(), bytes.size(), &done)) return problem;
  }
  return 0;
}

}  // namespace

FileNumber OpenExistingFile(const std::string& path, Access access) {
  return Open(path, {.writes = access == Access::kReadWrite});
}

// The file inherits the access list of its folder.
FileNumber CreateNewFile(const std::string& path) {
  return Open(path, {.writes = true, .creation = native::Creation::kOnlyNew});
}

void CloseFile(FileNumber file) {
  native::Close(file);
}

// Each open has a handle of its own on the server.
bool OpenApart(const std::string& /*path*/, Access /*access*/, const std::function<void(bool apart)>& open) {
  open(false);
  return true;
}

bool TryLock(FileNumber file, LockKind kind, const LockRange& range) {
  const int problem = kind == LockKind::kShared ? native::LockShared(file, range.start, range.length)
                                                : native::Lock(file, range.start, range.length);
  return Succeeded(problem == EBUSY ? EAGAIN : problem);
}

void Unlock(FileNumber file, const LockRange& range) {
  native::Unlock(file, range.start, range.length);
}

// The system cannot report whether the lock is a try of an earlier release.
bool IsBarredForAMoment(FileNumber file, const LockRange& /*range*/) {
  native::Status status = {};
  return native::StatusOf(file, &status) == 0 && status.size == 0;
}

std::optional<FileId> IdOf(FileNumber file) {
  native::Status status = {};
  const int problem = native::StatusOf(file, &status);
  return IdOfRegular(problem, status);
}

std::optional<FileId> IdOf(const std::string& path) {
  native::Status status = {};
  const int problem = native::StatusOf(path.c_str(), true, &status);
  return IdOfRegular(problem, status);
}

std::string StartOf(FileNumber file, std::size_t count) {
  std::string bytes;
  if (native::Seek(file, 0, native::From::kBegin, nullptr) == 0)
    static_cast<void>(ReadUpTo(file, count, bytes));
  return bytes;
}

int ReadStart(const std::string& path, std::size_t count, std::string& bytes) {
  const FileNumber file = OpenExistingFile(path, Access::kRead);
  if (file == kNoFile) return errno;
  const int problem = ReadUpTo(file, count, bytes);
  CloseFile(file);
  return problem;
}

bool WriteAt(FileNumber file, std::string_view bytes, std::int64_t offset) {
  const int problem = native::Seek(file, offset, native::From::kBegin, nullptr);
  return Succeeded(problem != 0 ? problem : WriteAll(file, bytes));
}

bool Empty(FileNumber file) {
  return Succeeded(native::SetSize(file, 0));
}

bool SyncFile(FileNumber file) {
  return Succeeded(native::Flush(file));
}

// Folders cannot be synced.
void SyncNames(const std::string& /*path*/) {}

bool FileExists(const std::string& path) {
  native::Status status = {};
  return Succeeded(native::StatusOf(path.c_str(), true, &status));
}

bool RemoveFile(const std::string& path) {
  return Succeeded(native::Delete(path.c_str()));
}

std::string RealPath(const std::string& path) {
  char real[kLongestRealPath];
  std::string found(real, native::RealPath(path.c_str(), real, sizeof real));
  std::replace(found.begin(), found.end(), '\\', '/');
  return found;
}

std::string FolderOfFile(const std::string& path) {
  const std::size_t separator = path.rfind('/');
  return separator == std::string::npos ? "./" : path.substr(0, separator + 1);
}

void CopySystemText(int problem, char* buffer, std::size_t size) noexcept {
  std::snprintf(buffer, size, "%s", SystemErrorText(problem));
}

}  // namespace tvl::engine
