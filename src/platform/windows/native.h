#ifndef TVL_PLATFORM_WINDOWS_NATIVE_H
#define TVL_PLATFORM_WINDOWS_NATIVE_H

#include <cstddef>
#include <cstdint>

// The system calls that the implementation of the platform layer is built on, with types of its own: the
// names of the contract are also those of <windows.h>, so no source can include both. Only the sources of
// this header, native_*.cpp, include <windows.h>.
//
// Unless noted otherwise, a function returns 0 or an errno value. Paths are in the code page of the process;
// either separator is accepted.

namespace tvl::native {

using Handle = std::intptr_t;
constexpr Handle kNoHandle = -1;

// Since 1970-01-01 UTC.
struct Time {
  std::int64_t seconds;
  std::int32_t nanoseconds;
};

struct Status {
  bool is_link;    // the entry itself, which was not followed
  bool is_folder;  // with is_link: a link to a folder
  std::uint64_t size;
  std::uint64_t allocated;
  std::uint64_t volume;
  std::uint64_t number;  // identifies the file on its volume
  unsigned int names;
  Time accessed;
  Time written;

  // A volume of 0 is unknown: Wine reports it for an open file that was renamed.
  [[nodiscard]] bool IsSameFile(const Status& other) const {
    return number == other.number && (volume == other.volume || volume == 0 || other.volume == 0);
  }
};

enum class Creation {
  kNever,
  kIfMissing,
  kOnlyNew,  // fails with EEXIST if the name exists
};

// Others may read, write, delete and rename what is open, unless it is pinned.
struct Opening {
  bool reads = true;
  bool writes = false;
  bool deletes = false;      // allows DeleteOpen and RenameOpen
  bool sets_times = false;   // without reading or writing
  bool opens_links = false;  // opens a link itself
  bool opens_folders = false;
  bool pins = false;  // nobody can delete or rename it meanwhile
  Creation creation = Creation::kNever;
};

// Opens a file on a disk. Fails with EISDIR for a folder, unless folders are to be opened too, and with
// EINVAL for a device. Child processes do not inherit the handle.
[[nodiscard]] int Open(const char* path, const Opening& opening, Handle* file);
int Close(Handle file);

// A read at the end of the file stores 0.
[[nodiscard]] int Read(Handle file, void* buffer, std::size_t count, std::size_t* done);
[[nodiscard]] int Write(Handle file, const void* buffer, std::size_t count, std::size_t* done);

enum class From { kBegin, kHere, kEnd };
[[nodiscard]] int Seek(Handle file, std::int64_t distance, From from, std::int64_t* position);
[[nodiscard]] int SetSize(Handle file, std::uint64_t size);
// Lets zeros that are written or skipped from now on take no space. May fail silently.
void AllowHoles(Handle file);
[[nodiscard]] int Flush(Handle file);

[[nodiscard]] int StatusOf(Handle file, Status* status);
[[nodiscard]] int StatusOf(const char* path, bool follows_links, Status* status);
// Stores when contents or attributes last changed; programs do not set this time.
[[nodiscard]] int ChangeTime(Handle file, Time* changed);
// A null time is not changed.
[[nodiscard]] int SetTimes(Handle file, const Time* accessed, const Time* written);

// Locks a range exclusively without waiting. Fails with EBUSY if another open file, or this one, has a lock
// in it. An unlock must name the range of a lock.
[[nodiscard]] int Lock(Handle file, std::int64_t start, std::int64_t length);
// The same, but any number of open files may share the lock.
[[nodiscard]] int LockShared(Handle file, std::int64_t start, std::int64_t length);
void Unlock(Handle file, std::int64_t start, std::int64_t length);

[[nodiscard]] int CreateFolder(const char* path);
[[nodiscard]] int RemoveFolder(const char* path);
// Deletes a file, or a link to a file, that was opened for it. Its name disappears at once if the file system
// can do that, else with its last handle.
[[nodiscard]] int DeleteOpen(Handle file);
// Deletes by name, without a look at locks.
int Delete(const char* path);
// Replaces a target that others have open, if the file system can do that.
[[nodiscard]] int Rename(const char* from, const char* to, bool replaces);
// What a link, opened as itself, consists of, as the file system stores it.
constexpr std::size_t kLargestLink = std::size_t{16} * 1024;
[[nodiscard]] int ReadLink(Handle link, void* buffer, std::size_t size, std::size_t* done);
// Makes a link of an empty file or folder.
[[nodiscard]] int MakeLink(Handle entry, const void* bytes, std::size_t count);
// Copies to the file or folder `to` the access list of `from`, unless all of it comes from the folder.
[[nodiscard]] int CopyAccess(const char* from, const char* to);
// Stores the number of bytes that the user can still write to the volume of `path`.
[[nodiscard]] int FreeSpace(const char* path, std::uint64_t* bytes);

// Names of one folder.
struct Entry {
  char name[260];
  std::uint32_t attributes;
  std::uint64_t size;
  Time written;
};

constexpr std::uint32_t kFolderAttribute = 0x10;
constexpr std::uint32_t kLinkAttribute = 0x400;

// Starts a listing of a folder. Stores the first entry.
[[nodiscard]] int FirstEntry(const char* folder, Handle* listing, Entry* entry);
// Returns 0, ENOENT at the end, or why the folder cannot be read.
[[nodiscard]] int NextEntry(Handle listing, Entry* entry);
void EndListing(Handle listing);

// These return the length of a text, the required size including the terminator if the buffer is too small,
// or 0 on failure.
[[nodiscard]] std::size_t FullPath(const char* path, char* buffer, std::size_t size);
// Of an existing file or folder, with links resolved.
[[nodiscard]] std::size_t RealPath(const char* path, char* buffer, std::size_t size);
// Of the file that contains the code at `address`; of the program if that is null.
[[nodiscard]] std::size_t ModulePath(const void* address, char* buffer, std::size_t size);

// Return false if there is no name or it does not fit.
[[nodiscard]] bool ComputerName(char* buffer, std::size_t size);
[[nodiscard]] bool UserName(char* buffer, std::size_t size);

[[nodiscard]] std::uint32_t ProcessId();
// A random number.
[[nodiscard]] std::uint32_t Random();

void* LoadModule(const char* path);
void (*AddressOf(void* module, const char* name))();
[[nodiscard]] bool UnloadModule(void* module);

// As the native functions without this prefix.
std::uint32_t VersionSize(const char* path);
bool VersionBlock(const char* path, std::uint32_t size, void* block);
bool VersionValue(const void* block, const char* path, void** value, unsigned int* length);

}  // namespace tvl::native

#endif
