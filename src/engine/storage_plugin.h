#ifndef TVL_ENGINE_STORAGE_PLUGIN_H
#define TVL_ENGINE_STORAGE_PLUGIN_H

#include <cstdint>
#include <memory>

#include "engine/last_error.h"
#include "engine/permission.h"
#include "engine/pointer.h"
#include "engine/table.h"

namespace tvl::engine {

// A table whose rows are in a database server.
struct RemotePlace {
  Permission permission;
  Pointer pointer;
  std::uint64_t inode = 0;   // of the data file: a copy of the file has another one
  bool isLockTable = false;  // then nothing that was committed may be lost with a server
};

// A storage in a module of its own, so that this module does not depend on the database's library. Both are
// built from the same sources. Any thread may call it. Functions that fail note an error.
class StoragePlugin {
 public:
  // Returns null if the table cannot be used.
  [[nodiscard]] virtual std::unique_ptr<Table> Open(const RemotePlace& place, Patience& patience) = 0;

  // Creates the empty table in the database.
  [[nodiscard]] virtual bool Create(const RemotePlace& place) = 0;

  // From now on, the table belongs to the data file with the inode of `place`.
  [[nodiscard]] virtual bool Adopt(const RemotePlace& place) = 0;

  // Deletes a table that this call's process has just created.
  virtual void Discard(const RemotePlace& place) = 0;

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
