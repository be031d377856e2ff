#ifndef TVL_CLIENT_LOCAL_TREE_H
#define TVL_CLIENT_LOCAL_TREE_H

#include <cstddef>

namespace tvl {

// RemoveDosDir without a callback for `path` in a tree: links in the tree's own path, the first `root_length`
// bytes, are followed, links below it are not.
[[nodiscard]] int RemoveInTree(const char* path, std::size_t root_length);

// The same, but moves each file to where `destination` says (RemovalHooks).
[[nodiscard]] int MoveOutOfTree(const char* path, std::size_t root_length,
                                const char* (*destination)(const char* path, void* argument), void* argument);

}  // namespace tvl

#endif
