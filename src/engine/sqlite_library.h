#ifndef TVL_ENGINE_SQLITE_LIBRARY_H
#define TVL_ENGINE_SQLITE_LIBRARY_H

// This module's own copy of SQLite, and how it is made fit for shares and for programs that fork.

namespace tvl::engine {

// Once, before anything else of SQLite. False if SQLite refuses.
[[nodiscard]] bool SetUpSqlite();

// Whoever is inside SQLite holds a passage. A fork waits until there is none, so that the child finds no
// mutex of SQLite taken by a thread that it doesn't have. Passages don't nest; nobody waits for a batch
// inside one.
class SqlitePassage {
 public:
  SqlitePassage();
  SqlitePassage(const SqlitePassage&) = delete;
  SqlitePassage& operator=(const SqlitePassage&) = delete;
  ~SqlitePassage();

  // For sleeps in the middle of a call.
  static void StepOut();
  static void StepIn();
};

// Around a fork.
void ShutSqlite();
void ReopenSqlite();
// In the child, which from then on also counts every file as one that SQLite hasn't met before.
void ReopenSqliteInChild();

}  // namespace tvl::engine

#endif
