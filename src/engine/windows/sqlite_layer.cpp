#include "engine/windows/sqlite_layer.h"

#include <sqlite3.h>

namespace tvl::engine {
namespace {

// The functions on an open file: SQLite's for the system, and these with one of them replaced.
struct Methods {
  const sqlite3_io_methods* system;
  sqlite3_io_methods own;
};

int DescribeFile(sqlite3_file* file);

// SQLite has one set of functions for all files; the first call gets it.
const Methods& AllMethods(const sqlite3_io_methods* system) {
  static const Methods methods = [system] {
    Methods made = {system, *system};
    made.own.xDeviceCharacteristics = DescribeFile;
    return made;
  }();
  return methods;
}

int DescribeFile(sqlite3_file* file) {
  return AllMethods(nullptr).system->xDeviceCharacteristics(file) & ~SQLITE_IOCAP_UNDELETABLE_WHEN_OPEN;
}

int Open(sqlite3_vfs* layer, const char* path, sqlite3_file* file, int flags, int* opened) {
  const int result = sqlite3_vfs_find(kSystemLayer)->xOpen(layer, path, file, flags, opened);
  if (result == SQLITE_OK) file->pMethods = &AllMethods(file->pMethods).own;
  return result;
}

}  // namespace

bool RegisterSqliteLayer() {
  const sqlite3_vfs* const system = sqlite3_vfs_find(kSystemLayer);
  if (system == nullptr) return false;
  static sqlite3_vfs layer = *system;
  layer.zName = "tvl-win32";
  layer.xOpen = Open;
  return sqlite3_vfs_register(&layer, 1) == SQLITE_OK;
}

}  // namespace tvl::engine
