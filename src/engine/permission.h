#ifndef TVL_ENGINE_PERMISSION_H
#define TVL_ENGINE_PERMISSION_H

#include <optional>
#include <string>
#include <string_view>

namespace tvl::engine {

// What a tables.ini permits: the tables of one store may be in a schema of a PostgreSQL server, which a
// connection service names. Everything else about the connection is in the administrator's service file.
struct Permission {
  std::string service;
  std::string schema;
  std::string store;                // the id of the store, which its tables have in the database too
  bool asynchronous_locks = false;  // the lock table may be on a server without a synchronous standby
};

// Parses a tables.ini. On failure returns nothing and stores the reason in `problem`: an unknown key, a
// wrong, missing or repeated value.
[[nodiscard]] std::optional<Permission> ParsePermission(std::string_view text, std::string& problem);

// From now on, `file` decides about the tables in `folder` and below it. Both must exist or be created later;
// a file that does not exist permits nothing.
void PermitTables(const std::string& folder, const std::string& file);

// Finds what the file for the table at `path`, a path without links, permits. It is read at each call.
// Returns false and notes an error if it cannot be used.
[[nodiscard]] bool FindPermission(const std::string& path, std::optional<Permission>& permission);

}  // namespace tvl::engine

#endif
