#ifndef TVL_ENGINE_STORAGE_PLUGIN_H
#define TVL_ENGINE_STORAGE_PLUGIN_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/last_error.h"
#include "engine/permission.h"
#include "engine/pointer.h"
#include "engine/table.h"

namespace tvl::engine {

// A table whose rows are in a database server.
struct RemotePlace {
  Permission permission;
  Pointer pointer;
  std::uint64_t inode = 0;     // of the data file: a copy of the file has another one
  bool is_lock_table = false;  // then nothing that was committed may be lost with a server
  bool is_copy = false;        // the data file may be another one than the database knows
};

// A table of a store in the database.
struct RemoteEntry {
  std::string id;
  std::uint64_t inode = 0;
  std::int64_t bytes = -1;        // of its rows on the server's disk; negative if the rows do not exist
  std::int64_t orphanedFor = -1;  // seconds since it was first noted that no data file points to it; negative
                                  // if that was not noted
};
using RemoteEntries = std::vector<RemoteEntry>;

// A storage in a module of its own, so that this module does not depend on the database's library. Both are
// built from the same sources. Any thread may call it. Functions that fail note an error.
class StoragePlugin {
 public:
  // Returns null if the table cannot be used.
  [[nodiscard]] virtual std::unique_ptr<Table> Open(const RemotePlace& place, Patience& patience) = 0;

  // Creates the empty table in the database.
  [[nodiscard]] virtual bool Create(const RemotePlace& place) = 0;

  // From now on, the table belongs to the data file with the inode of `place`. Fails if it does not exist, or
  // belongs to another store.
  [[nodiscard]] virtual bool Adopt(const RemotePlace& place) = 0;

  // Deletes a table that this call's process has just created.
  virtual void Discard(const RemotePlace& place) = 0;

  // Returns whether commits on the server wait for a standby, or nothing if it cannot be reached.
  [[nodiscard]] virtual std::optional<bool> HasStandby(const Permission& permission) = 0;

  // Returns the tables of the store.
  [[nodiscard]] virtual std::optional<RemoteEntries> List(const Permission& permission) = 0;

  // Notes the time for tables that no data file points to, and forgets it for all others of the store.
  [[nodiscard]] virtual bool NoteOrphans(const Permission& permission,
                                         const std::vector<std::string>& ids) = 0;

  // Deletes a table of the store with its rows, if it was noted as an orphan at least `seconds` ago.
  [[nodiscard]] virtual bool DropOrphan(const RemotePlace& place, std::int64_t seconds) = 0;

 protected:
  StoragePlugin() = default;
  ~StoragePlugin() = default;
  StoragePlugin(const StoragePlugin&) = default;
  StoragePlugin& operator=(const StoragePlugin&) = default;
};

// How a plug-in notes errors for the caller.
using ErrorNote = void (*)(const char* reason, Problem problem) noexcept;

// The name and the type of the function that a plug-in exports. It returns null for a module of another
// release.
constexpr char kPluginEntry[] = "TVLStoragePlugin";
using PluginEntry = StoragePlugin* (*)(const char* release, ErrorNote note);

}  // namespace tvl::engine

#endif
