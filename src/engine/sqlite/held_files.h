#ifndef TVL_ENGINE_SQLITE_HELD_FILES_H
#define TVL_ENGINE_SQLITE_HELD_FILES_H

namespace tvl::engine {

// Makes SQLite keep journals in memory (held_journal.h) and write adjacent pages of a table at once. Must be
// called once before a file is opened. Returns false if SQLite refuses.
[[nodiscard]] bool RegisterHeldFiles();

}  // namespace tvl::engine

#endif
