#include "engine/sqlite/library.h"

#include <sqlite3.h>

#include <condition_variable>
#include <mutex>
#include <new>

#include "engine/sqlite/held_files.h"
#include "engine/sqlite/passage.h"

namespace tvl::engine {
namespace {

struct Gate {
  std::mutex mutex;
  std::condition_variable changed;
  int inside = 0;
  bool shut = false;  // no thread may enter any more, or a fork might wait forever
};

// Never destroyed, because calls may still arrive while the process exits.
Gate& TheGate() {
  static Gate& gate = *new Gate;
  return gate;
}

unsigned int generation = 0;

}  // namespace

Passage& CurrentPassage() {
  static thread_local Passage passage;
  return passage;
}

unsigned int Generation() {
  return generation;
}

bool SetUpSqlite() {
  // A connection is used by one thread at a time, and statistics are not needed.
  return sqlite3_config(SQLITE_CONFIG_MULTITHREAD) == SQLITE_OK &&
         sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK &&
         sqlite3_config(SQLITE_CONFIG_URI, 0) == SQLITE_OK && sqlite3_initialize() == SQLITE_OK &&
         ReplaceSystemCalls() && RegisterHeldFiles();
}

SqlitePassage::SqlitePassage(Region* region) {
  Gate& gate = TheGate();
  std::unique_lock lock(gate.mutex);
  gate.changed.wait(lock, [&] { return !gate.shut; });
  ++gate.inside;
  CurrentPassage() = {region};
}

SqlitePassage::~SqlitePassage() {
  CurrentPassage() = {};
  Gate& gate = TheGate();
  const std::lock_guard lock(gate.mutex);
  if (--gate.inside == 0 && gate.shut) gate.changed.notify_all();
}

FileNumber LastOpenedBySqlite() {
  return CurrentPassage().last_opened;
}

void ShutSqlite() {
  Gate& gate = TheGate();
  std::unique_lock lock(gate.mutex);
  gate.changed.wait(lock, [&] { return !gate.shut; });
  gate.shut = true;
  gate.changed.wait(lock, [&] { return gate.inside == 0; });
  lock.release();  // kept over the fork, because a thread that is just entering would leave it locked in
                   // the child
}

void ReopenSqlite() {
  Gate& gate = TheGate();
  gate.shut = false;
  gate.changed.notify_all();
  gate.mutex.unlock();
}

void ReopenSqliteInChild() {
  Gate& gate = TheGate();
  ++generation;
  gate.shut = false;
  new (&gate.changed) std::condition_variable;  // the old one still counts the waiting threads of the parent
  gate.mutex.unlock();
}

}  // namespace tvl::engine
