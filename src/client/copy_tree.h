#ifndef TVL_CLIENT_COPY_TREE_H
#define TVL_CLIENT_COPY_TREE_H

#include "client/progress.h"
#include "platform/writing.h"

namespace tvl {

// Copies a file, or a tree into a folder that is created if its parent exists. Both paths are full paths.
// Reports a folder before its contents and a file after its copy. Returns TVL_OK, or TVL_ERR_COPY if a single
// file cannot be copied; failures inside a tree are not reported. Ends a group in `writing` whenever it is
// full and once at the end. May throw std::bad_alloc.
[[nodiscard]] int CopyTree(const char* source, const char* target, const Progress& progress,
                           const Writing& writing);

}  // namespace tvl

#endif
