#ifndef TVL_ENGINE_SQLITE_LIBRARY_H
#define TVL_ENGINE_SQLITE_LIBRARY_H

#include <string>

#include "engine/system.h"

// This module's own copy of SQLite, adapted to network shares and to programs that fork.

namespace tvl::engine {

class Region;

// Must be called once before SQLite is used. Returns false if SQLite refuses.
[[nodiscard]] bool SetUpSqlite();

// Held by a thread while it is inside SQLite. A fork waits until there is none, so that no SQLite mutex is
// locked in the child by a thread that does not exist there. Passages do not nest, and no thread waits for a
// lock inside one.
class SqlitePassage {
 public:
  // `region` answers the lock requests of SQLite meanwhile; null if nothing is to be locked.
  explicit SqlitePassage(Region* region = nullptr);
  SqlitePassage(const SqlitePassage&) = delete;
  SqlitePassage& operator=(const SqlitePassage&) = delete;
  ~SqlitePassage();
};

// Returns the file that SQLite opened last in the current passage of the thread, or kNoFile.
[[nodiscard]] FileNumber LastOpenedBySqlite();

// Convert a path to the form that SQLite takes, and back.
[[nodiscard]] std::string PathForSqlite(const std::string& path);
[[nodiscard]] std::string PathFromSqlite(const char* path);

// Called around a fork.
void ShutSqlite();
void ReopenSqlite();
// Called in the child. From then on every file looks new to SQLite.
void ReopenSqliteInChild();

}  // namespace tvl::engine

#endif
