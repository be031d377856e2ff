#ifndef TVL_ENGINE_SYSTEM_H
#define TVL_ENGINE_SYSTEM_H

#include <cerrno>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "store/lock_ranges.h"

// How the engine reaches files, and what else it needs of the system. Each system has a folder with the
// implementation. Paths have slashes. Functions that fail set errno, unless their comment says otherwise.

namespace tvl::engine {

// The system's number of an open file: a descriptor or a handle.
using FileNumber = std::intptr_t;
constexpr FileNumber kNoFile = -1;

// Which file it is, by whatever name.
struct FileId {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  auto operator<=>(const FileId&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

enum class Access { kRead, kReadWrite };
enum class LockKind { kShared, kExclusive };

// Opens an existing file. Never waits for another program, whatever the name is. Returns kNoFile on failure.
// Child processes do not share the file.
[[nodiscard]] FileNumber OpenExistingFile(const std::string& path, Access access);

// Creates a file, which everyone who may write in its folder can use. Returns kNoFile on failure, with EEXIST
// if the name exists.
[[nodiscard]] FileNumber CreateNewFile(const std::string& path);

// Releases the locks of an open file and closes it.
void CloseFile(FileNumber file);

// Calls `open`, which opens the file at `path`, in such a way that its locks are reliable even where several
// processes of a computer share one handle of the file server. `apart` is true where that is so. Returns
// false, without calling `open`, if other processes are opening the file for longer than a call may wait.
[[nodiscard]] bool OpenApart(const std::string& path, Access access,
                             const std::function<void(bool apart)>& open);

// Locks a range of an open file without waiting. Returns false on failure; then IsRefusal(errno) if another
// open file has a conflicting lock. Only the range of a lock can be unlocked, as a whole.
[[nodiscard]] bool TryLock(FileNumber file, LockKind kind, const LockRange& range);
void Unlock(FileNumber file, const LockRange& range);
[[nodiscard]] inline bool IsRefusal(int problem) {
  return problem == EAGAIN || problem == EACCES;
}

// Returns true if the lock that prevents an exclusive lock of `range` will be released in a moment: it is the
// try of an earlier release, or the lock of a process that is creating the file.
[[nodiscard]] bool IsBarredForAMoment(FileNumber file, const LockRange& range);

// Return nothing for anything but a file. A path may lead to it through links.
[[nodiscard]] std::optional<FileId> IdOf(FileNumber file);
[[nodiscard]] std::optional<FileId> IdOf(const std::string& path);

// Returns the first bytes of an open file, at most `count`; fewer at its end or on failure.
[[nodiscard]] std::string StartOf(FileNumber file, std::size_t count);

// Reads the file at `path`, at most `count` bytes of it. Returns 0 or an errno value.
[[nodiscard]] int ReadStart(const std::string& path, std::size_t count, std::string& bytes);

[[nodiscard]] bool WriteAt(FileNumber file, std::string_view bytes, std::int64_t offset);
[[nodiscard]] bool Empty(FileNumber file);
[[nodiscard]] bool SyncFile(FileNumber file);

// Waits until the names in the folder of `path` are on the disk, if the system can do that.
void SyncNames(const std::string& path);

[[nodiscard]] bool FileExists(const std::string& path);
[[nodiscard]] bool RemoveFile(const std::string& path);

// Returns the full path with its links resolved; empty if it leads nowhere.
[[nodiscard]] std::string RealPath(const std::string& path);

// Returns the folder of `path` with its trailing slash; "./" for a bare name.
[[nodiscard]] std::string FolderOfFile(const std::string& path);

// Copies the system's text for an errno value to `buffer`.
void CopySystemText(int problem, char* buffer, std::size_t size) noexcept;

// Calls the functions around each fork of the process. Returns false if that is not possible.
[[nodiscard]] bool CallAroundEachFork(void (*before)(), void (*in_parent)(), void (*in_child)());

// Calls `free` with `object` when the calling thread ends, but not when the process exits: the last calls
// arrive later than that. A thread has one such object.
void FreeAtThreadEnd(void* object, void (*free)(void* object));

}  // namespace tvl::engine

#endif
