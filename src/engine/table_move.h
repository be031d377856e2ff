#ifndef TVL_ENGINE_TABLE_MOVE_H
#define TVL_ENGINE_TABLE_MOVE_H

#include <string>

namespace tvl::engine {

enum class TablePlace { kFile = 0, kDatabase = 1 };

// These need a table that nobody has open. They return false and note an error on failure.

// Moves the rows of the table at `path` to a database in its file, or to the database server. The rows are
// copied, and the copy is compared with them, before the data file is replaced in one step; so whatever
// happens, the table is either in its old place or complete in the new one. Rows that were in the server stay
// there, without a data file that points to them.
[[nodiscard]] bool MoveTable(const std::string& path, TablePlace place);

// For a data file that was copied or restored, and is refused because two files may point to the same rows:
// from now on only this one does.
[[nodiscard]] bool AdoptTable(const std::string& path);

// The same, but the file gets a copy of the rows.
[[nodiscard]] bool ForkTable(const std::string& path);

}  // namespace tvl::engine

#endif
