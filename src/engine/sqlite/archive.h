#ifndef TVL_ENGINE_SQLITE_ARCHIVE_H
#define TVL_ENGINE_SQLITE_ARCHIVE_H

#include <string>

#include "engine/layout.h"

namespace tvl::engine {

// Creates an empty table in a file of its own at `path`. On failure returns false and notes an error; then a
// table in use is unchanged, and any other is deleted.
[[nodiscard]] bool MakeSqliteArchive(const std::string& path, const Layout& layout);

// Removes the files that belong to a table in a file of its own, such as its journal, when the table itself
// is gone. Returns false with the reason in errno.
bool RemoveCompanions(const std::string& path);

}  // namespace tvl::engine

#endif
