#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string>

#include "host/descriptor.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/descriptor_of.h"
#include "platform/posix/folder_of_file.h"
#include "platform/posix/open_file.h"

using tvl::DescriptorOf;
using tvl::HostPath;
using tvl::NoteError;
using tvl::System;

namespace {

// Does not truncate a file that is held, unless it is empty anyway, like a marker of presence.
bool Empty(tvl::OpenFile& file) {
  if (file.Status().st_size == 0) return true;
  if (!tvl::IsHeld(file.Descriptor())) return file.Truncate();
  errno = EBUSY;
  file.NoteFailure();
  return false;
}

// Truncating a file requires write access, regardless of what is done with it afterwards.
int OpenFlags(DWORD access, DWORD disposition) {
  if (disposition == CREATE_ALWAYS) return O_RDWR | O_CREAT;
  return (access & GENERIC_WRITE) != 0 ? O_RDWR : O_RDONLY;
}

BOOL Succeeded(int result) {
  if (result == 0) return 1;
  NoteError(nullptr, errno);
  return 0;
}

FILETIME FileTime(const timespec& time) {
  return {time.tv_sec, static_cast<std::int32_t>(time.tv_nsec)};
}

timespec TimeSpec(const FILETIME* time) {
  if (time == nullptr) return {0, UTIME_OMIT};
  return {static_cast<time_t>(time->seconds), time->nanoseconds};
}

}  // namespace

HANDLE CreateFileA(const char* path, DWORD access, DWORD /*share*/, void* /*security*/, DWORD disposition,
                   DWORD /*flags*/, HANDLE /*model*/) {
  tvl::OpenFile file(path, OpenFlags(access, disposition));
  if (!file.IsOpen()) return INVALID_HANDLE_VALUE;
  if (disposition == CREATE_ALWAYS && !Empty(file)) return INVALID_HANDLE_VALUE;
  return file.Release();
}

BOOL CloseHandle(HANDLE file) {
  return Succeeded(System().close(DescriptorOf(file)));
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* done, void* /*overlapped*/) {
  ssize_t result = 0;
  do {
    result = System().read(DescriptorOf(file), buffer, count);
  } while (result < 0 && errno == EINTR);
  *done = result < 0 ? 0 : static_cast<DWORD>(result);
  return Succeeded(result < 0 ? -1 : 0);
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD count, DWORD* done, void* /*overlapped*/) {
  const auto* bytes = static_cast<const char*>(buffer);
  *done = 0;
  while (*done < count) {
    const ssize_t written = System().write(DescriptorOf(file), bytes + *done, count - *done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return Succeeded(-1);
    *done += static_cast<DWORD>(written);
  }
  return 1;
}

DWORD SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* /*high*/, DWORD /*method*/) {
  const off_t position = System().lseek(DescriptorOf(file), distance, SEEK_END);
  return position < 0 ? INVALID_SET_FILE_POINTER : static_cast<DWORD>(position);
}

DWORD GetFileSize(HANDLE file, DWORD* high) {
  struct stat status = {};
  if (Succeeded(System().fstat(DescriptorOf(file), &status)) == 0) status.st_size = 0;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (high != nullptr) *high = static_cast<DWORD>(size >> 32U);
  return static_cast<DWORD>(size);
}

BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write) {
  struct stat status = {};
  if (Succeeded(System().fstat(DescriptorOf(file), &status)) == 0) return 0;
  *creation = FileTime(status.st_mtim);
  *access = FileTime(status.st_atim);
  *write = FileTime(status.st_mtim);
  return 1;
}

BOOL SetFileTime(HANDLE file, const FILETIME* /*creation*/, const FILETIME* access, const FILETIME* write) {
  const timespec times[2] = {TimeSpec(access), TimeSpec(write)};
  return Succeeded(System().futimens(DescriptorOf(file), times));
}

DWORD GetFileAttributesA(const char* path) {
  const HostPath host(path);
  struct stat status = {};
  if (System().lstat(host.Text(), &status) != 0) {
    NoteError(path, errno);
    return INVALID_FILE_ATTRIBUTES;
  }
  DWORD attributes = 0;
  if (S_ISLNK(status.st_mode)) {
    attributes = FILE_ATTRIBUTE_REPARSE_POINT;
    if (System().stat(host.Text(), &status) != 0) return attributes;
  }
  return attributes | (S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL);
}

namespace {

// Sets the group bits of a new folder to those of its parent if that has the setgid bit, regardless of the
// umask, so that the members of the group can work in it. Ignores failures, because the folder is usable
// anyway.
void InheritGroupBits(std::string folder) {
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  const int bits = tvl::InheritedGroupBits(tvl::FolderOf(folder));
  if (bits < 0) return;
  const tvl::Descriptor opened(
      System().open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
  struct stat status = {};
  const auto group = static_cast<mode_t>(bits);
  if (opened.IsOpen() && System().fstat(opened.Get(), &status) == 0 && (status.st_mode & S_IRWXG) != group)
    System().fchmod(opened.Get(), (status.st_mode & 07777U & ~static_cast<mode_t>(S_IRWXG)) | group);
}

// Returns 0 or an errno value.
int MakeFolder(const char* host) {
  if (System().mkdir(host, 0777) != 0) return errno;
  try {
    InheritGroupBits(host);
  } catch (const std::bad_alloc&) {
    return 0;  // the folder exists
  }
  return 0;
}

}  // namespace

BOOL CreateDirectoryA(const char* path, void* /*security*/) {
  const int problem = MakeFolder(HostPath(path).Text());
  if (problem == 0) return 1;
  NoteError(path, problem);
  return 0;
}

bool tvl::NameExists(const char* path) {
  struct statx status = {};
  constexpr int kFlags = AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC;
  return System().statx(AT_FDCWD, HostPath(path).Text(), kFlags, STATX_TYPE, &status) == 0;
}

bool tvl::EnsureFolder(const char* path) {
  const HostPath host(path);
  const int problem = MakeFolder(host.Text());
  if (problem == 0) return true;
  struct stat status = {};
  if (problem == EEXIST && System().stat(host.Text(), &status) == 0 && S_ISDIR(status.st_mode)) return true;
  NoteError(path, problem);
  return false;
}

BOOL RemoveDirectoryA(const char* path) {
  const HostPath host(path);
  struct stat status = {};
  const bool is_link = System().lstat(host.Text(), &status) == 0 && S_ISLNK(status.st_mode);
  if ((is_link ? System().unlink(host.Text()) : System().rmdir(host.Text())) == 0) return 1;
  NoteError(path, errno);
  return 0;
}

bool tvl::ReadFileStatus(const char* path, FileStatus* status) {
  struct stat found = {};
  if (System().stat(HostPath(path).Text(), &found) != 0) {
    NoteError(path, errno);
    return false;
  }
  status->is_file = S_ISREG(found.st_mode);
  status->is_folder = S_ISDIR(found.st_mode);
  status->size = status->is_folder ? 0 : static_cast<std::uint64_t>(found.st_size);
  status->modified = found.st_mtim.tv_sec;
  return true;
}
