#ifndef TVL_ENGINE_STORAGE_H
#define TVL_ENGINE_STORAGE_H

#include <memory>
#include <optional>
#include <string>

#include "engine/layout.h"
#include "engine/storage_plugin.h"
#include "engine/table.h"
#include "engine/table_file.h"

namespace tvl::engine {

// Opens the rows of the table with the data file `file` at `path`: a database in the file itself, or where
// the file points to. Returns null and notes an error on failure.
[[nodiscard]] std::unique_ptr<Table> OpenStorage(const std::string& path, const TableFile& file,
                                                 Patience& patience);

// Returns whether the name is that of a store's lock table.
[[nodiscard]] bool IsLockTable(const std::string& path);

// Returns true and notes an error if a table may not be a file of its own in the folder of `path`.
[[nodiscard]] bool RefuseTableFile(const std::string& path);

// Returns where the rows of a data file are in the database server, and what its tables.ini permits. `text`
// is the contents of the file. Returns nothing and notes an error if it is damaged or not permitted.
[[nodiscard]] std::optional<RemotePlace> FindPlace(const std::string& path, const TableFile& file,
                                                   const std::string& text);

// Creates an empty table at `path`; its rows are in a database server if tables.ini names one. On failure
// returns false and notes an error; then a table in use is unchanged.
[[nodiscard]] bool MakeTable(const std::string& path, const Layout& layout);

}  // namespace tvl::engine

#endif
