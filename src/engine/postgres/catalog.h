#ifndef TVL_ENGINE_POSTGRES_CATALOG_H
#define TVL_ENGINE_POSTGRES_CATALOG_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/postgres/session.h"
#include "engine/storage_plugin.h"

// The tables of a schema: their lengths, the store that they belong to, and the data file that points to
// each. Functions return false and note an error on failure.

namespace tvl::engine {

// Checks that the table exists and belongs to this store and this data file, and that the server may have it.
[[nodiscard]] bool CheckTable(Session& session, const RemotePlace& place);

// Creates the table, and the catalog before the first one.
[[nodiscard]] bool CreateTable(Session& session, const RemotePlace& place);

[[nodiscard]] bool AdoptTable(Session& session, const RemotePlace& place);
[[nodiscard]] bool DropTable(Session& session, const RemotePlace& place);

// See StoragePlugin.
[[nodiscard]] std::optional<bool> AsksStandby(Session& session);
[[nodiscard]] std::optional<RemoteEntries> ListTables(Session& session, const Permission& permission);
[[nodiscard]] bool NoteOrphans(Session& session, const Permission& permission,
                               const std::vector<std::string>& ids);
[[nodiscard]] bool DropOrphan(Session& session, const RemotePlace& place, std::int64_t seconds);

}  // namespace tvl::engine

#endif
