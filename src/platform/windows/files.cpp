#include "platform/files.h"

#include <cerrno>

#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/open_file.h"
#include "platform/windows/times.h"

using tvl::HostPath;
using tvl::NoteError;
namespace native = tvl::native;

namespace {

BOOL Succeeded(int problem, const char* path = nullptr) {
  if (problem == 0) return 1;
  NoteError(path, problem);
  return 0;
}

// Does not truncate a file that is held, unless it is empty anyway, like a marker of presence.
int Empty(const tvl::OpenFile& file) {
  if (file.Status().size == 0) return 0;
  return tvl::IsHeld(file.Get()) ? EBUSY : native::SetSize(file.Get(), 0);
}

native::Opening OpeningOf(DWORD access, DWORD disposition) {
  const bool writes = (access & GENERIC_WRITE) != 0 || disposition == CREATE_ALWAYS;
  native::Opening opening;
  opening.writes = writes;
  opening.sets_times = (access & FILE_WRITE_ATTRIBUTES) != 0;
  opening.creation = disposition == CREATE_ALWAYS ? native::Creation::kIfMissing : native::Creation::kNever;
  return opening;
}

}  // namespace

HANDLE CreateFileA(const char* path, DWORD access, DWORD /*share*/, void* /*security*/, DWORD disposition,
                   DWORD /*flags*/, HANDLE /*model*/) {
  tvl::OpenFile file(path, OpeningOf(access, disposition));
  if (!file.IsOpen()) return INVALID_HANDLE_VALUE;
  if (disposition == CREATE_ALWAYS && Succeeded(Empty(file), path) == 0) return INVALID_HANDLE_VALUE;
  return file.Release();
}

BOOL CloseHandle(HANDLE file) {
  return Succeeded(native::Close(file));
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* done, void* /*overlapped*/) {
  std::size_t read = 0;
  const int problem = native::Read(file, buffer, count, &read);
  *done = static_cast<DWORD>(read);
  return Succeeded(problem);
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD count, DWORD* done, void* /*overlapped*/) {
  const int problem = tvl::WriteAll(file, buffer, count);
  *done = problem == 0 ? count : 0;
  return Succeeded(problem);
}

DWORD SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* /*high*/, DWORD /*method*/) {
  std::int64_t position = 0;
  const int problem = native::Seek(file, distance, native::From::kEnd, &position);
  return problem != 0 ? INVALID_SET_FILE_POINTER : static_cast<DWORD>(position);
}

DWORD GetFileSize(HANDLE file, DWORD* high) {
  native::Status status = {};
  if (Succeeded(native::StatusOf(file, &status)) == 0) status.size = 0;
  if (high != nullptr) *high = static_cast<DWORD>(status.size >> 32U);
  return static_cast<DWORD>(status.size);
}

BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write) {
  native::Status status = {};
  if (Succeeded(native::StatusOf(file, &status)) == 0) return 0;
  *creation = tvl::ContractTime(status.written);
  *access = tvl::ContractTime(status.accessed);
  *write = tvl::ContractTime(status.written);
  return 1;
}

BOOL SetFileTime(HANDLE file, const FILETIME* /*creation*/, const FILETIME* access, const FILETIME* write) {
  const native::Time accessed = access != nullptr ? tvl::NativeTime(*access) : native::Time{};
  const native::Time written = write != nullptr ? tvl::NativeTime(*write) : native::Time{};
  return Succeeded(
      native::SetTimes(file, access != nullptr ? &accessed : nullptr, write != nullptr ? &written : nullptr));
}

DWORD GetFileAttributesA(const char* path) {
  const HostPath host(path);
  native::Status status = {};
  if (const int problem = native::StatusOf(host.Text(), false, &status)) {
    NoteError(path, problem);
    return INVALID_FILE_ATTRIBUTES;
  }
  DWORD attributes = 0;
  if (status.is_link) {
    attributes = FILE_ATTRIBUTE_REPARSE_POINT;
    if (native::StatusOf(host.Text(), true, &status) != 0) return attributes;
  }
  return attributes | (status.is_folder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL);
}

BOOL CreateDirectoryA(const char* path, void* /*security*/) {
  return Succeeded(native::CreateFolder(HostPath(path).Text()), path);
}

bool tvl::NameExists(const char* path) {
  native::Status status = {};
  return native::StatusOf(HostPath(path).Text(), false, &status) == 0;
}

bool tvl::EnsureFolder(const char* path) {
  const HostPath host(path);
  const int problem = native::CreateFolder(host.Text());
  native::Status status = {};
  if (problem == 0) return true;
  // A root cannot be created, for which the system has other codes than for an existing name.
  if (native::StatusOf(host.Text(), true, &status) == 0 && status.is_folder) return true;
  NoteError(path, problem);
  return false;
}

BOOL RemoveDirectoryA(const char* path) {
  return Succeeded(native::RemoveFolder(HostPath(path).Text()), path);
}

bool tvl::ReadFileStatus(const char* path, FileStatus* status) {
  native::Status found = {};
  if (const int problem = native::StatusOf(HostPath(path).Text(), true, &found)) {
    NoteError(path, problem);
    return false;
  }
  *status = {found.size, found.written.seconds, !found.is_folder, found.is_folder};
  return true;
}
