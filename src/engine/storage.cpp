#include "engine/storage.h"

#include <optional>

#include "engine/last_error.h"
#include "engine/permission.h"
#include "engine/plugin_module.h"
#include "engine/pointer.h"
#include "engine/pointer_file.h"
#include "engine/sqlite/archive.h"
#include "engine/sqlite/table.h"
#include "store/check/mount.h"
#include "store/layout.h"

namespace tvl::engine {
namespace {

std::unique_ptr<Table> OpenRemote(const std::string& path, const TableFile& file, const std::string& text,
                                  Patience& patience) {
  const std::optional<RemotePlace> place = FindPlace(path, file, text);
  StoragePlugin* const plugin = place ? PostgresPlugin() : nullptr;
  return plugin == nullptr ? nullptr : plugin->Open(*place, patience);
}

}  // namespace

bool IsLockTable(const std::string& path) {
  return path.substr(path.rfind('/') + 1) == kLockTableName;
}

// Reads the list of mounts, which needs no request to a file server.
bool RefuseTableFile(const std::string& path) {
  const std::optional<Mount> mount = MountOf(FolderOfFile(path));
  if (!mount || CanHaveTableFiles(*mount)) return false;
  NoteError(
      "GlusterFS can lose changes of a table in a file; 'tvl table move TABLE --to postgresql' moves its "
      "rows");
  return true;
}

std::optional<RemotePlace> FindPlace(const std::string& path, const TableFile& file,
                                     const std::string& text) {
  const std::optional<Pointer> pointer = ParsePointer(text);
  if (!pointer) {
    NoteError("the pointer to the table is incomplete, or of a later release", Problem::kDamaged);
    return std::nullopt;
  }
  std::optional<Permission> permission;
  if (!FindPermission(path, permission)) return std::nullopt;
  if (permission) return RemotePlace{*permission, *pointer, file.Id().inode, IsLockTable(path)};
  NoteError("the rows are in PostgreSQL, and no tables.ini next to the store's configuration permits that");
  return std::nullopt;
}

std::unique_ptr<Table> OpenStorage(const std::string& path, const TableFile& file, Patience& patience) {
  const std::string start = file.Start(kLongestPointer + 1);
  if (IsPointer(start)) return OpenRemote(path, file, start, patience);
  return RefuseTableFile(path) ? nullptr : SqliteTable::Open(path, file, start, patience);
}

bool MakeTable(const std::string& path, const Layout& layout) {
  std::optional<Permission> permission;
  if (!FindPermission(path, permission)) return false;
  if (permission) return MakePointer(path, layout, *permission);
  return !RefuseTableFile(path) && MakeSqliteArchive(path, layout);
}

}  // namespace tvl::engine
