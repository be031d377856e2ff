#ifndef TVL_TCP_SAFE_TRANSFERS_H
#define TVL_TCP_SAFE_TRANSFERS_H

#include <atomic>

namespace tvl {

// The level with which gets over TCP write their local files, for all connections of the process; see
// platform/writing.h.
inline std::atomic<int> safe_transfers = 0;

}  // namespace tvl

#endif
