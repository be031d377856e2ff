#ifndef TVL_ENGINE_PLUGIN_MODULE_H
#define TVL_ENGINE_PLUGIN_MODULE_H

#include "engine/storage_plugin.h"

namespace tvl::engine {

// Returns the storage on PostgreSQL, whose module is loaded at its first use from the folder of this one.
// Returns null and notes an error if it is missing or cannot be used.
[[nodiscard]] StoragePlugin* PostgresPlugin();

}  // namespace tvl::engine

#endif
