#ifndef TVL_TCP_SAFE_TRANSFERS_H
#define TVL_TCP_SAFE_TRANSFERS_H

#include <atomic>

namespace tvl {

// How gets over TCP write their local files, for all connections of the process: a level as in
// platform/writing.h.
inline std::atomic<int> safe_transfers = 0;

}  // namespace tvl

#endif
