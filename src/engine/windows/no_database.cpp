#include "engine/plugin_module.h"
#include "engine/pointer_file.h"
#include "engine/table_move.h"

// Tables in a PostgreSQL server are not offered on this system.

namespace tvl::engine {
namespace {

bool Refuse() {
  NoteError("tables in PostgreSQL are not offered on Windows");
  return false;
}

}  // namespace

StoragePlugin* PostgresPlugin() {
  static_cast<void>(Refuse());
  return nullptr;
}

bool MakePointer(const std::string& /*path*/, const Layout& /*layout*/, const Permission& /*permission*/) {
  return Refuse();
}

bool MoveTable(const std::string& /*path*/, TablePlace /*place*/) {
  return Refuse();
}

bool AdoptTable(const std::string& /*path*/) {
  return Refuse();
}

bool ForkTable(const std::string& /*path*/) {
  return Refuse();
}

}  // namespace tvl::engine
