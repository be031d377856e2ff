// The exported functions that concern where tables are, rather than their rows.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/guarded.h"
#include "engine/permission.h"
#include "engine/plugin_module.h"
#include "engine/pointer.h"
#include "engine/registry.h"
#include "engine/system.h"
#include "engine/table_file.h"
#include "engine/table_move.h"
#include "engine/vbctree.h"

namespace {

using tvl::engine::Guarded;
using tvl::engine::NoteError;
using tvl::engine::Permission;
using tvl::engine::PostgresPlugin;
using tvl::engine::StoragePlugin;

// Runs `action` with the path of a table's data file. Returns 1 if it returns true.
template <typename Action>
int OnDataFile(const char* path, Action action) {
  if (path == nullptr) return 0;
  return Guarded(0, [=] {
    tvl::engine::Registry::Get();  // sets SQLite up
    return action(tvl::engine::DataFilePath(tvl::engine::NamedPath(path))) ? 1 : 0;
  });
}

// Runs `action` with what the tables.ini for the tables of a folder permits, and with the storage in the
// server. Returns 1 if it returns true.
template <typename Action>
int OnServer(const char* folder, Action action) {
  if (folder == nullptr) return 0;
  return Guarded(0, [=] {
    std::optional<Permission> permission;
    if (!tvl::engine::FindPermission(tvl::engine::RealFolder(folder) + "/*", permission)) return 0;
    if (!permission) NoteError("no tables.ini next to the store's configuration names a PostgreSQL server");
    StoragePlugin* const plugin = permission ? PostgresPlugin() : nullptr;
    return plugin != nullptr && action(*permission, *plugin) ? 1 : 0;
  });
}

std::vector<std::string> SplitIds(std::string_view list) {
  std::vector<std::string> ids;
  for (; list.size() >= tvl::engine::kTableIdLength;
       list.remove_prefix(std::min(list.size(), tvl::engine::kTableIdLength + 1)))
    ids.emplace_back(list.substr(0, tvl::engine::kTableIdLength));
  return ids;
}

}  // namespace

int MoveTable(const char* path, int to_database) {
  using tvl::engine::TablePlace;
  return OnDataFile(path, [=](const std::string& file) {
    return tvl::engine::MoveTable(file, to_database != 0 ? TablePlace::kDatabase : TablePlace::kFile);
  });
}

int AdoptTable(const char* path) {
  return OnDataFile(path, tvl::engine::AdoptTable);
}

int ForkTable(const char* path) {
  return OnDataFile(path, tvl::engine::ForkTable);
}

int GetTableId(const char* file, char* id) {
  if (file == nullptr || id == nullptr) return -1;
  return Guarded(-1, [=] {
    std::string text;
    errno = tvl::engine::ReadStart(file, tvl::engine::kLongestPointer + 1, text);
    if (errno != 0) {
      tvl::engine::NoteSystemError("the table cannot be read");
      return -1;
    }
    if (!tvl::engine::IsPointer(text)) return 0;
    const std::optional<tvl::engine::Pointer> pointer = tvl::engine::ParsePointer(text);
    const std::string known = pointer ? pointer->id : std::string();
    std::memcpy(id, known.c_str(), known.size() + 1);
    return 1;
  });
}

int GetDatabase(const char* folder, TVLDatabase* database) {
  if (database == nullptr) return 0;
  *database = {};
  return OnServer(folder, [=](const Permission& permission, StoragePlugin& plugin) {
    permission.service.copy(database->service, sizeof database->service - 1);
    permission.schema.copy(database->schema, sizeof database->schema - 1);
    database->acceptsAsynchronousLocks = permission.asynchronous_locks ? 1 : 0;
    const std::optional<bool> hasStandby = plugin.HasStandby(permission);
    database->hasStandby = hasStandby.value_or(false) ? 1 : 0;
    return hasStandby.has_value();
  });
}

int ListDatabaseTables(const char* folder, TVLDatabaseTableCallback visit, void* data) {
  if (visit == nullptr) return 0;
  return OnServer(folder, [=](const Permission& permission, StoragePlugin& plugin) {
    const std::optional<tvl::engine::RemoteEntries> entries = plugin.List(permission);
    if (!entries) return false;
    for (const tvl::engine::RemoteEntry& entry : *entries) {
      const TVLDatabaseTable table = {
          entry.id.c_str(), nullptr,     entry.bytes < 0 ? TVL_TABLE_ROWS_MISSING : TVL_TABLE_ORPHAN,
          entry.inode,      entry.bytes, entry.orphanedFor};
      visit(&table, data);
    }
    return true;
  });
}

int NoteOrphans(const char* folder, const char* ids) {
  if (ids == nullptr) return 0;
  return OnServer(folder, [=](const Permission& permission, StoragePlugin& plugin) {
    return plugin.NoteOrphans(permission, SplitIds(ids));
  });
}

int DropOrphan(const char* folder, const char* id, long long seconds) {
  if (id == nullptr) return 0;
  return OnServer(folder, [=](const Permission& permission, StoragePlugin& plugin) {
    tvl::engine::Pointer pointer;
    pointer.id = id;
    if (!tvl::engine::IsTableId(pointer.id)) {
      NoteError("this is not the id of a table");
      return false;
    }
    return plugin.DropOrphan({permission, pointer}, seconds);
  });
}
