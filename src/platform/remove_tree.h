#ifndef TVL_PLATFORM_REMOVE_TREE_H
#define TVL_PLATFORM_REMOVE_TREE_H

#include <cstddef>
#include <cstdint>

namespace tvl {

// The functions that a removal calls, on the calling thread.
struct RemovalHooks {
  // Called after the deletion of a file, with its size, and before the removal of a folder, with 0. May be
  // null.
  void (*reached)(const char* path, std::uint64_t size, void* argument);
  void* argument;
  void (*between)();  // called once after opening a folder and once after each of its names
  bool (*stops)();    // called after each name; true ends the removal
  // Returns where to move a file instead of deleting it, a path that does not exist, or null to keep the file
  // because there is no such place. May be null.
  const char* (*destination)(const char* path, void* argument) = nullptr;
};

enum class Removal { kDone, kFileStays, kFolderStays, kStopped };

// Removes the file or tree at `path` (at most kMaxPath - 1 bytes), depth first, up to the first failure,
// whose reason is recorded (last_error.h). A missing path is reported once and counts as success, as does a
// name that disappears meanwhile. Names that contain a backslash are kept.
//
// Links in the first `root_length` bytes of `path`, which end before a separator, are followed, but none
// after them, even if a link replaces a folder meanwhile: the tree is walked through open folders, and a link
// is deleted like a file. The last component is never followed. Regular files are deleted as by DeleteFileA.
[[nodiscard]] Removal RemoveTree(const char* path, std::size_t root_length, const RemovalHooks& hooks);

}  // namespace tvl

#endif
