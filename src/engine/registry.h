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

// A table that this process has open, under however many handles: two SQLite connections of one process on
// one file would take each other's locks for their own.
struct OpenTable {
  explicit OpenTable(TableFile held) : file(std::move(held)) {}

  // Whoever works on the table holds its turn; a batch holds it from begin to end.
  TurnLock turn;
  TableFile file;
  std::unique_ptr<Table> storage;  // null until opened, and for good if that failed
  std::vector<int> batches;        // handles with a batch, the outermost first
  bool batchWrites = false;        // what the outermost one is for
};

// What a handle stands for.
struct Opened {
  std::shared_ptr<OpenTable> table;
  bool readOnly = false;
  std::string path;  // by which it was opened
};

// The handles of the process. Any thread may use it.
class Registry {
 public:
  static Registry& Get();

  // -1 and a noted error if the table can't be opened.
  [[nodiscard]] int Open(const char* path, bool readOnly);

  // No table, and a noted error, for a handle that isn't open in this process.
  [[nodiscard]] Opened Find(int handle);

  [[nodiscard]] bool Close(int handle);
  void CloseAll();

 private:
  Registry();

  [[nodiscard]] std::shared_ptr<OpenTable> TableFor(TableFile file);
  [[nodiscard]] static bool OpenStorage(OpenTable& table, const std::string& path, Patience& patience);
  [[nodiscard]] Opened Take(int handle);

  static void BeforeFork();
  static void AfterForkInParent();
  static void AfterForkInChild();

  std::mutex mutex_;
  int lastHandle_ = 0;  // numbers are never given out twice, nor by a child what its parent gave out
  std::unordered_map<int, Opened> handles_;
  std::unordered_map<int, Opened> abandoned_;  // a parent's, in its child: never touched, never freed
  std::map<FileId, std::weak_ptr<OpenTable>> tables_;
};

}  // namespace tvl::engine

#endif
