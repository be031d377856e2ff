#ifndef TVL_ENGINE_REGISTRY_H
#define TVL_ENGINE_REGISTRY_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/table.h"
#include "engine/table_file.h"
#include "engine/turn.h"

namespace tvl::engine {

// A table that this process has open, with any number of handles. Two SQLite connections of one process to
// one file would mistake each other's locks for their own.
struct OpenTable {
  explicit OpenTable(TableFile held) : file(std::move(held)) {}

  // Held by a thread that uses the table; a batch holds it from begin to end.
  TurnLock turn;
  TableFile file;
  std::unique_ptr<Table> storage;  // null until opened, and if that failed
  std::vector<int> batches;        // handles with a batch, the outermost first
  bool batch_writes = false;       // whether the outermost batch is for writing
};

// The table of a handle.
struct Opened {
  std::shared_ptr<OpenTable> table;
  bool read_only = false;
  // With which it was opened. Shared, because every call copies this structure, and the end of a batch must
  // not fail for lack of memory.
  std::shared_ptr<const std::string> path;
};

// The handles of the process. Any thread may use it.
class Registry {
 public:
  static Registry& Get();

  // Opens a table. Returns -1 and notes an error on failure.
  [[nodiscard]] int Open(const char* path, bool read_only);

  // Returns no table and notes an error for a handle that is not open in this process.
  [[nodiscard]] Opened Find(int handle);

  [[nodiscard]] bool Close(int handle);
  void CloseAll();

 private:
  Registry();

  [[nodiscard]] std::shared_ptr<OpenTable> TableFor(TableFile file);
  [[nodiscard]] static bool OpenRows(OpenTable& table, const std::string& path, Patience& patience);
  [[nodiscard]] Opened Take(int handle);

  static void BeforeFork();
  static void AfterForkInParent();
  static void AfterForkInChild();

  std::mutex mutex_;
  int last_handle_ = 0;  // numbers are never reused, not even by a child process
  std::unordered_map<int, Opened> handles_;
  std::unordered_map<int, Opened>
      abandoned_;  // in a child, the handles of its parent; never touched or freed
  std::map<FileId, std::weak_ptr<OpenTable>> tables_;
};

}  // namespace tvl::engine

#endif
