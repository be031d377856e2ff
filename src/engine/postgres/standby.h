#ifndef TVL_ENGINE_POSTGRES_STANDBY_H
#define TVL_ENGINE_POSTGRES_STANDBY_H

#include "engine/storage_plugin.h"

namespace tvl::engine {

// An expression: whether commits wait until a standby has them. Named standbys are enough: if none of them is
// connected, no commit returns.
constexpr char kHasStandby[] = "current_setting('synchronous_standby_names') <> ''";

// Returns false and notes an error if the table is a lock table and the server has no such standby: after a
// failover, a lock could have two owners.
[[nodiscard]] bool MayLock(const RemotePlace& place, bool hasStandby);

}  // namespace tvl::engine

#endif
