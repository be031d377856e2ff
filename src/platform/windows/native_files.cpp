#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "platform/windows/native.h"
#include "platform/windows/native_errors.h"

namespace tvl::native {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kNanosecondsPerTick = 100;
constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
constexpr std::size_t kLargestTransfer = std::size_t{1} << 30;

// Newer than some headers and systems that this code is built for and runs on.
constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
struct DispositionEx {
  DWORD flags;
};
constexpr DWORD kDeletes = 0x1;
constexpr DWORD kDeletesNameAtOnce = 0x2;

HANDLE Native(Handle file) {
  return reinterpret_cast<HANDLE>(file);
}

int Result(BOOL success) {
  return success != 0 ? 0 : LastProblem();
}

Time TimeOf(std::int64_t ticks) {
  return {ticks / kTicksPerSecond - kSecondsFrom1601To1970,
          static_cast<std::int32_t>(ticks % kTicksPerSecond * kNanosecondsPerTick)};
}

Time TimeOf(const FILETIME& time) {
  return TimeOf(static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime));
}

// A time before 1601 cannot be stored; all ones would mean "unchanged".
FILETIME NativeTime(const Time& time) {
  const std::int64_t ticks =
      (time.seconds + kSecondsFrom1601To1970) * kTicksPerSecond + time.nanoseconds / kNanosecondsPerTick;
  const auto bits = static_cast<std::uint64_t>(std::max<std::int64_t>(ticks, 0));
  return {static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32U)};
}

std::uint64_t Join(DWORD high, DWORD low) {
  return (std::uint64_t{high} << 32U) | low;
}

DWORD AccessOf(const Opening& opening) {
  DWORD access = FILE_READ_ATTRIBUTES | SYNCHRONIZE;
  if (opening.reads) access |= GENERIC_READ;
  if (opening.writes) access |= GENERIC_WRITE;
  if (opening.deletes) access |= DELETE;
  if (opening.sets_times) access |= FILE_WRITE_ATTRIBUTES;
  return access;
}

DWORD DispositionOf(Creation creation) {
  switch (creation) {
    case Creation::kIfMissing:
      return OPEN_ALWAYS;
    case Creation::kOnlyNew:
      return CREATE_NEW;
    case Creation::kNever:
      break;
  }
  return OPEN_EXISTING;
}

bool IsFolder(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

int ReadStatus(HANDLE file, Status* status) {
  BY_HANDLE_FILE_INFORMATION found = {};
  if (GetFileInformationByHandle(file, &found) == 0) return LastProblem();
  FILE_STANDARD_INFO space = {};
  status->is_link = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  status->is_folder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  status->size = status->is_folder ? 0 : Join(found.nFileSizeHigh, found.nFileSizeLow);
  status->allocated = status->size;
  if (GetFileInformationByHandleEx(file, FileStandardInfo, &space, sizeof space) != 0)
    status->allocated = static_cast<std::uint64_t>(space.AllocationSize.QuadPart);
  status->volume = found.dwVolumeSerialNumber;
  status->number = Join(found.nFileIndexHigh, found.nFileIndexLow);
  status->names = found.nNumberOfLinks;
  status->accessed = TimeOf(found.ftLastAccessTime);
  status->written = TimeOf(found.ftLastWriteTime);
  return 0;
}

OVERLAPPED At(std::int64_t start) {
  OVERLAPPED place = {};
  place.Offset = static_cast<DWORD>(start);
  place.OffsetHigh = static_cast<DWORD>(static_cast<std::uint64_t>(start) >> 32U);
  return place;
}

int TryLock(Handle file, DWORD kind, std::int64_t start, std::int64_t length) {
  OVERLAPPED place = At(start);
  const auto size = static_cast<std::uint64_t>(length);
  return Result(LockFileEx(Native(file), kind | LOCKFILE_FAIL_IMMEDIATELY, 0, static_cast<DWORD>(size),
                           static_cast<DWORD>(size >> 32U), &place));
}

// Removes what makes a path one that the system does not parse. Returns the new length.
std::size_t WithoutPrefix(char* path, std::size_t length) {
  constexpr std::string_view kPrefix = "\\\\?\\";
  constexpr std::string_view kSharePrefix = "\\\\?\\UNC\\";
  const std::string_view text(path, length);
  if (!text.starts_with(kPrefix)) return length;
  // The two backslashes of a share remain.
  const bool is_share = text.starts_with(kSharePrefix);
  const std::size_t start = is_share ? kSharePrefix.size() - 2 : kPrefix.size();
  std::memmove(path, path + start, length - start + 1);
  if (is_share) path[0] = '\\';
  return length - start;
}

void Copy(const WIN32_FIND_DATAA& found, Entry* entry) {
  std::memcpy(entry->name, found.cFileName, sizeof entry->name);
  entry->attributes = found.dwFileAttributes;
  entry->size = Join(found.nFileSizeHigh, found.nFileSizeLow);
  entry->written = TimeOf(found.ftLastWriteTime);
}

}  // namespace

int Open(const char* path, const Opening& opening, Handle* file) {
  DWORD flags = FILE_ATTRIBUTE_NORMAL;
  if (opening.opens_links) flags |= FILE_FLAG_OPEN_REPARSE_POINT;
  if (opening.opens_folders) flags |= FILE_FLAG_BACKUP_SEMANTICS;
  const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | (opening.pins ? 0U : FILE_SHARE_DELETE);
  const HANDLE opened =
      CreateFileA(path, AccessOf(opening), share, nullptr, DispositionOf(opening.creation), flags, nullptr);
  if (opened == INVALID_HANDLE_VALUE) {
    const int problem = LastProblem();
    return problem != ENOENT && IsFolder(path) ? EISDIR : problem;
  }
  if (GetFileType(opened) != FILE_TYPE_DISK) {
    CloseHandle(opened);
    return EINVAL;
  }
  *file = reinterpret_cast<Handle>(opened);
  return 0;
}

int Close(Handle file) {
  return Result(CloseHandle(Native(file)));
}

int Read(Handle file, void* buffer, std::size_t count, std::size_t* done) {
  DWORD read = 0;
  const auto most = static_cast<DWORD>(std::min(count, kLargestTransfer));
  const int problem = Result(ReadFile(Native(file), buffer, most, &read, nullptr));
  *done = read;
  return problem;
}

int Write(Handle file, const void* buffer, std::size_t count, std::size_t* done) {
  DWORD written = 0;
  const auto most = static_cast<DWORD>(std::min(count, kLargestTransfer));
  const int problem = Result(WriteFile(Native(file), buffer, most, &written, nullptr));
  *done = written;
  return problem;
}

int Seek(Handle file, std::int64_t distance, From from, std::int64_t* position) {
  LARGE_INTEGER move = {};
  LARGE_INTEGER reached = {};
  move.QuadPart = distance;
  const DWORD method = from == From::kBegin ? FILE_BEGIN : from == From::kHere ? FILE_CURRENT : FILE_END;
  const int problem = Result(SetFilePointerEx(Native(file), move, &reached, method));
  if (position != nullptr) *position = reached.QuadPart;
  return problem;
}

int SetSize(Handle file, std::uint64_t size) {
  FILE_END_OF_FILE_INFO end = {};
  end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
  return Result(SetFileInformationByHandle(Native(file), FileEndOfFileInfo, &end, sizeof end));
}

void AllowHoles(Handle file) {
  DWORD ignored = 0;
  DeviceIoControl(Native(file), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &ignored, nullptr);
}

int Flush(Handle file) {
  return Result(FlushFileBuffers(Native(file)));
}

int StatusOf(Handle file, Status* status) {
  return ReadStatus(Native(file), status);
}

int StatusOf(const char* path, bool follows_links, Status* status) {
  Handle file = kNoHandle;
  const Opening look = {.reads = false, .opens_links = !follows_links, .opens_folders = true};
  if (const int problem = Open(path, look, &file)) return problem;
  const int problem = StatusOf(file, status);
  Close(file);
  return problem;
}

int ChangeTime(Handle file, Time* changed) {
  FILE_BASIC_INFO found = {};
  const int problem = Result(GetFileInformationByHandleEx(Native(file), FileBasicInfo, &found, sizeof found));
  *changed = TimeOf(std::int64_t{found.ChangeTime.QuadPart});
  return problem;
}

int ReadLink(Handle link, void* buffer, std::size_t size, std::size_t* done) {
  DWORD read = 0;
  const auto most = static_cast<DWORD>(std::min(size, kLargestLink));
  const int problem = Result(
      DeviceIoControl(Native(link), FSCTL_GET_REPARSE_POINT, nullptr, 0, buffer, most, &read, nullptr));
  *done = read;
  return problem;
}

int MakeLink(Handle entry, const void* bytes, std::size_t count) {
  DWORD ignored = 0;
  return Result(DeviceIoControl(Native(entry), FSCTL_SET_REPARSE_POINT, const_cast<void*>(bytes),
                                static_cast<DWORD>(count), nullptr, 0, &ignored, nullptr));
}

int SetTimes(Handle file, const Time* accessed, const Time* written) {
  const FILETIME native_accessed = accessed != nullptr ? NativeTime(*accessed) : FILETIME{};
  const FILETIME native_written = written != nullptr ? NativeTime(*written) : FILETIME{};
  return Result(SetFileTime(Native(file), nullptr, accessed != nullptr ? &native_accessed : nullptr,
                            written != nullptr ? &native_written : nullptr));
}

int Lock(Handle file, std::int64_t start, std::int64_t length) {
  return TryLock(file, LOCKFILE_EXCLUSIVE_LOCK, start, length);
}

int LockShared(Handle file, std::int64_t start, std::int64_t length) {
  return TryLock(file, 0, start, length);
}

void Unlock(Handle file, std::int64_t start, std::int64_t length) {
  OVERLAPPED place = At(start);
  const auto size = static_cast<std::uint64_t>(length);
  UnlockFileEx(Native(file), 0, static_cast<DWORD>(size), static_cast<DWORD>(size >> 32U), &place);
}

int CreateFolder(const char* path) {
  return Result(CreateDirectoryA(path, nullptr));
}

int RemoveFolder(const char* path) {
  return Result(RemoveDirectoryA(path));
}

int DeleteOpen(Handle file) {
  DispositionEx at_once = {kDeletes | kDeletesNameAtOnce};
  if (SetFileInformationByHandle(Native(file), kDispositionEx, &at_once, sizeof at_once) != 0) return 0;
  FILE_DISPOSITION_INFO when_closed = {TRUE};
  return Result(
      SetFileInformationByHandle(Native(file), FileDispositionInfo, &when_closed, sizeof when_closed));
}

int Delete(const char* path) {
  return Result(DeleteFileA(path));
}

int FreeSpace(const char* path, std::uint64_t* bytes) {
  ULARGE_INTEGER available = {};
  const int problem = Result(GetDiskFreeSpaceExA(path, &available, nullptr, nullptr));
  *bytes = available.QuadPart;
  return problem;
}

std::size_t RealPath(const char* path, char* buffer, std::size_t size) {
  Handle file = kNoHandle;
  if (size > 0) buffer[0] = 0;
  if (Open(path, {.reads = false, .opens_folders = true}, &file) != 0) return 0;
  const DWORD length =
      GetFinalPathNameByHandleA(Native(file), buffer, static_cast<DWORD>(size), FILE_NAME_NORMALIZED);
  Close(file);
  if (length == 0 || length >= size) return 0;
  return WithoutPrefix(buffer, length);
}

int FirstEntry(const char* folder, Handle* listing, Entry* entry) {
  char pattern[MAX_PATH];
  const std::size_t length = std::strlen(folder);
  if (length + sizeof "\\*" > sizeof pattern) return ENAMETOOLONG;
  std::memcpy(pattern, folder, length);
  const bool separated = length > 0 && (folder[length - 1] == '\\' || folder[length - 1] == '/');
  std::memcpy(pattern + length, separated ? "*" : "\\*", separated ? sizeof "*" : sizeof "\\*");
  WIN32_FIND_DATAA found = {};
  const HANDLE search = FindFirstFileExA(pattern, FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0);
  if (search == INVALID_HANDLE_VALUE) return LastProblem();
  Copy(found, entry);
  *listing = reinterpret_cast<Handle>(search);
  return 0;
}

int NextEntry(Handle listing, Entry* entry) {
  WIN32_FIND_DATAA found = {};
  if (FindNextFileA(Native(listing), &found) == 0)
    return GetLastError() == ERROR_NO_MORE_FILES ? ENOENT : std::max(LastProblem(), EPERM);
  Copy(found, entry);
  return 0;
}

void EndListing(Handle listing) {
  FindClose(Native(listing));
}

}  // namespace tvl::native
