#ifndef TVL_PLATFORM_FILES_H
#define TVL_PLATFORM_FILES_H

#include <cstdint>

// Files and folders, with the names, arguments and results that callers use. Paths contain backslashes. A
// function that fails records the reason (last_error.h).

using BOOL = int;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
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

// A point in time with nanoseconds, since 1970-01-01 UTC.
struct FILETIME {
  std::int64_t seconds;
  std::int32_t nanoseconds;
};

// Opens a regular file. Folders cannot be opened, nor can pipes and devices, which might block forever.
// CREATE_ALWAYS fails for a nonempty file that is held. `share`, `security` and `model` are ignored.
// Child processes that run other programs do not inherit the handle.
HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void* security, DWORD disposition,
                   DWORD flags, HANDLE model);
BOOL CloseHandle(HANDLE file);

// Return 1 on success and store the number of bytes in `done`. A read at the end of the file returns 0 bytes.
// A write is complete or fails.
BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* done, void* overlapped);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD count, DWORD* done, void* overlapped);

// Returns the low 32 bits of the new position. `method` must be FILE_END.
DWORD SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* high, DWORD method);

// Returns the low 32 bits of the size, and stores the high ones in `high` unless it is null.
DWORD GetFileSize(HANDLE file, DWORD* high);

// Files have no creation time here: reading it returns the modification time, and setting it has no effect.
BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write);
BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access, const FILETIME* write);

// Returns FILE_ATTRIBUTE_DIRECTORY or _NORMAL, with _REPARSE_POINT for a link; the other bits describe its
// target. A dangling link exists.
DWORD GetFileAttributesA(const char* path);

// Creates one folder. Returns 0 on failure, including if the name exists.
BOOL CreateDirectoryA(const char* path, void* security);

// Deletes a file, or a link without its target. Returns 0 if the file is held, if it cannot be opened to find
// out, or if it is a folder.
BOOL DeleteFileA(const char* path);

// Removes an empty folder, or a link to a folder without its target.
BOOL RemoveDirectoryA(const char* path);

// Renames a file or folder within a file system. Returns 0 if the new name exists, or if DeleteFileA would
// refuse to delete the file.
BOOL MoveFileA(const char* from, const char* to);

// Copies contents and modification time in place; see copy_file.h for other ways. Overwrites an existing
// target unless `fail_if_exists` is set or the target is held. Returns 0 on failure; then a target that it
// created is removed, and a target for which there is not enough space is unchanged.
BOOL CopyFileA(const char* source, const char* target, BOOL fail_if_exists);

namespace tvl {

// The result of a status query: size in 64 bits, modification time in whole seconds.
struct FileStatus {
  std::uint64_t size;
  std::int64_t modified;
  bool is_file;  // a regular file
  bool is_folder;
};

// Reads the status of a file or folder. Follows links. The size of a folder is 0. Returns false if it does
// not exist or cannot be examined.
bool ReadFileStatus(const char* path, FileStatus* status);

// Returns true if a file, folder or link has that name. A network file system asks its server only if it does
// not know the name.
[[nodiscard]] bool NameExists(const char* path);

// Creates one folder unless it exists. Records an error only on failure. Returns true if the folder exists
// afterwards.
bool EnsureFolder(const char* path);

}  // namespace tvl

#endif
