#ifndef TVL_ENGINE_WINDOWS_SQLITE_LAYER_H
#define TVL_ENGINE_WINDOWS_SQLITE_LAYER_H

namespace tvl::engine {

constexpr char kSystemLayer[] = "win32";

// Makes SQLite close a journal at the end of each transaction, as on other systems. From a journal that stays
// open, SQLite would roll back what another program has committed by deleting it, because the open file
// remains readable. Returns false if SQLite refuses.
[[nodiscard]] bool RegisterSqliteLayer();

}  // namespace tvl::engine

#endif
