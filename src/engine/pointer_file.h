#ifndef TVL_ENGINE_POINTER_FILE_H
#define TVL_ENGINE_POINTER_FILE_H

#include <string>

#include "engine/layout.h"
#include "engine/permission.h"

namespace tvl::engine {

// Creates an empty table in the database server, and its data file at `path`. The rows come first: the data
// file appears complete and last, so that it never points to nothing. A table that existed at `path`, and
// that nobody has open, is replaced; its rows stay in the database. Of two processes that create the same
// table at once, one fails. On failure returns false and notes an error.
[[nodiscard]] bool MakePointer(const std::string& path, const Layout& layout, const Permission& permission);

// Returns whether the name is that of a store's lock table.
[[nodiscard]] bool IsLockTable(const std::string& path);

}  // namespace tvl::engine

#endif
