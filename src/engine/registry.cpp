#include "engine/registry.h"

#include <algorithm>
#include <limits>

#include "engine/batch.h"
#include "engine/last_error.h"
#include "engine/sqlite/library.h"
#include "engine/storage.h"
#include "engine/system.h"

namespace tvl::engine {

// Never destroyed, because the library closes its connections while the process exits.
Registry& Registry::Get() {
  static Registry& registry = *new Registry;
  return registry;
}

Registry::Registry() {
  if (!SetUpSqlite()) NoteError("SQLite cannot be set up");
  if (!CallAroundEachFork(BeforeFork, AfterForkInParent, AfterForkInChild))
    NoteError("forks cannot be noticed");
}

int Registry::Open(const char* path, bool read_only) {
  std::string named = NamedPath(path);
  const std::string data_file = DataFilePath(named);
  Patience patience;
  std::optional<TableFile> file = TableFile::Share(data_file, patience);
  if (!file) return -1;
  const std::shared_ptr<OpenTable> table = TableFor(std::move(*file));
  if (!OpenRows(*table, data_file, patience)) return -1;
  const std::lock_guard guard(mutex_);
  if (last_handle_ == std::numeric_limits<int>::max()) return -1;
  const int handle = last_handle_ + 1;
  handles_.emplace(handle, Opened{table, read_only, std::make_shared<const std::string>(std::move(named))});
  return last_handle_ = handle;
}

// If the table is already open, the second hold on it ends with `file`.
std::shared_ptr<OpenTable> Registry::TableFor(TableFile file) {
  const std::lock_guard guard(mutex_);
  std::erase_if(tables_, [](const auto& entry) { return entry.second.expired(); });
  std::weak_ptr<OpenTable>& known = tables_[file.Id()];
  std::shared_ptr<OpenTable> table = known.lock();
  if (table == nullptr) known = table = std::make_shared<OpenTable>(std::move(file));
  return table;
}

bool Registry::OpenRows(OpenTable& table, const std::string& path, Patience& patience) {
  const Turn turn(table.turn, patience);
  if (!turn.Has()) return false;
  if (table.storage == nullptr) table.storage = OpenStorage(path, table.file, patience);
  return table.storage != nullptr;
}

Opened Registry::Find(int handle) {
  const std::lock_guard guard(mutex_);
  const auto found = handles_.find(handle);
  if (found != handles_.end()) return found->second;
  NoteError("the handle is not open");
  return {};
}

Opened Registry::Take(int handle) {
  const std::lock_guard guard(mutex_);
  auto node = handles_.extract(handle);
  return node.empty() ? Opened() : std::move(node.mapped());
}

// The table itself is closed by its last user, which may be a call on another thread.
bool Registry::Close(int handle) {
  const Opened opened = Take(handle);
  if (opened.table == nullptr) {
    NoteError("the handle is not open");
    return false;
  }
  return EndBatches(*opened.table, handle);
}

void Registry::CloseAll() {
  std::vector<int> open;
  {
    const std::lock_guard guard(mutex_);
    for (const auto& [handle, opened] : handles_) open.push_back(handle);
  }
  for (const int handle : open) static_cast<void>(Close(handle));
}

void Registry::BeforeFork() {
  ShutSqlite();
  Get().mutex_.lock();
}

void Registry::AfterForkInParent() {
  Get().mutex_.unlock();
  ReopenSqlite();
}

// Leaves the parent's SQLite objects alone, because closing them would affect the parent's files and
// journals.
void Registry::AfterForkInChild() {
  Registry& registry = Get();
  registry.abandoned_.merge(registry.handles_);
  registry.handles_.clear();
  registry.tables_.clear();
  registry.mutex_.unlock();
  ReopenSqliteInChild();
}

}  // namespace tvl::engine
