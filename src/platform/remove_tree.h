#ifndef TVL_PLATFORM_REMOVE_TREE_H
#define TVL_PLATFORM_REMOVE_TREE_H

#include <cstddef>
#include <cstdint>

namespace tvl {

// What a removal calls on its way, on the calling thread.
struct RemovalHooks {
  // After the deletion of a file, with its size, and before the removal of a folder, with 0. May be null.
  void (*reached)(const char* path, std::uint64_t size, void* argument);
  void* argument;
  void (*between)();  // once when a folder has been opened and once after each of its names
  bool (*stops)();    // asked after each name: true ends the removal there
};

enum class Removal { kDone, kFileStays, kFolderStays, kStopped };

// Removes the file or tree at `path` (at most kMaxPath - 1 bytes), depth first, up to the first failure,
// whose reason is noted (last_error.h). A missing path is reported once and counts as done, as does a name
// that disappears on the way. Names that contain a backslash stay.
//
// Links in the first `root_length` bytes of `path`, which end before a separator, are followed and none after
// them, whatever replaces a folder in the meantime: the tree is walked by open folders, and a link is deleted
// like a file. The last component is never followed. Each regular file is deleted as DeleteFileA does.
[[nodiscard]] Removal RemoveTree(const char* path, std::size_t root_length, const RemovalHooks& hooks);

}  // namespace tvl

#endif
