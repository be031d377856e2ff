#ifndef TVL_ENGINE_SQLITE_LIBRARY_H
#define TVL_ENGINE_SQLITE_LIBRARY_H

// This module's own copy of SQLite, and how it is made fit for shares and for programs that fork.

namespace tvl::engine {

class Region;

// Once, before anything else of SQLite. False if SQLite refuses.
[[nodiscard]] bool SetUpSqlite();

// A thread that is inside SQLite holds a passage. A fork waits until there is none, so that the child finds
// no mutex of SQLite locked by a thread that it doesn't have. Passages don't nest, and nobody waits for a
// lock inside one.
class SqlitePassage {
 public:
  // `region` answers the locks that SQLite asks for meanwhile; without one there is nothing to lock.
  explicit SqlitePassage(Region* region = nullptr);
  SqlitePassage(const SqlitePassage&) = delete;
  SqlitePassage& operator=(const SqlitePassage&) = delete;
  ~SqlitePassage();
};

// The descriptor of the file that SQLite opened last in the thread's current passage, or -1.
[[nodiscard]] int LastOpenedBySqlite();

// Around a fork.
void ShutSqlite();
void ReopenSqlite();
// In the child, which from then on also counts every file as one that SQLite hasn't met before.
void ReopenSqliteInChild();

}  // namespace tvl::engine

#endif
