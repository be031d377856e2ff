#ifndef TVL_PLATFORM_FILES_H
#define TVL_PLATFORM_FILES_H

#include <cstdint>

// Files and folders, by the names, arguments and results that the logic calls. Paths are the logic's, with
// backslashes. A function whose result says failure has noted why (last_error.h).

using BOOL = int;
using DWORD = std::uint32_t;
using HANDLE = std::intptr_t;

constexpr HANDLE INVALID_HANDLE_VALUE = -1;

constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_WRITE_ATTRIBUTES = 0x100;
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
constexpr DWORD FILE_FLAG_RANDOM_ACCESS = 0x10000000;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
constexpr DWORD FILE_END = 2;

// A moment, to the nanosecond, since 1970-01-01 UTC.
struct FILETIME {
  std::int64_t seconds;
  std::int32_t nanoseconds;
};

// What a status query tells: 64 bits of size, modification time in whole seconds.
struct FileStatus {
  std::uint64_t size;
  std::int64_t modified;
};

// Opens a file. Only regular files open: a folder does not, for reading either, nor does a pipe or a device,
// which could block for ever. CREATE_ALWAYS fails for a file with contents that somebody holds. `share`,
// `security` and `model` are without effect. Descriptors are close-on-exec.
HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void* security, DWORD disposition,
                   DWORD flags, HANDLE model);
BOOL CloseHandle(HANDLE file);

// 1 if `count` bytes could be asked for or written; `done` gets how many were. A read at the end gives 0
// bytes; a write is whole or a failure.
BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* done, void* overlapped);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD count, DWORD* done, void* overlapped);

// Low 32 bits of the new position; `method` is FILE_END.
DWORD SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* high, DWORD method);

// Low 32 bits of the size; the high ones where `high` isn't null.
DWORD GetFileSize(HANDLE file, DWORD* high);

// There is no creation time to set here: it is read as the modification time and passed over in setting.
BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write);
BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access, const FILETIME* write);

// FILE_ATTRIBUTE_DIRECTORY or _NORMAL, with _REPARSE_POINT for a link, whose target the rest describes. A
// dangling link exists.
DWORD GetFileAttributesA(const char* path);

// Makes one folder. 0 if it can't be made, also because the name is taken.
BOOL CreateDirectoryA(const char* path, void* security);

// Deletes a file, or a link and not its target. 0 if another open file holds it, it can't be opened to ask
// for that, or it is a folder.
BOOL DeleteFileA(const char* path);

// Removes an empty folder, or a link to one and not what it leads to.
BOOL RemoveDirectoryA(const char* path);

// Gives a file or folder another name in the same file system. 0 if the new name is taken, or DeleteFileA
// would refuse to delete a file of the old name.
BOOL MoveFileA(const char* from, const char* to);

// 0, or -1 if there is no such file or folder, or it can't be examined. Follows links. A folder has size 0.
int _stat64i32(const char* path, FileStatus* status);

// Copies contents and modification time in place; see copy_file.h for more. An existing target is overwritten
// unless `failIfExists` is set or somebody holds it. Returns 0 for a failure: a target that this created is
// removed, and one for which there is not enough space is not touched.
BOOL CopyFileA(const char* source, const char* target, BOOL failIfExists);

namespace tvl {

// Makes one folder unless it exists; only a failure is noted. True if the folder exists afterwards.
bool EnsureFolder(const char* path);

}  // namespace tvl

#endif
