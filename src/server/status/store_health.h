#ifndef TVL_SERVER_STATUS_STORE_HEALTH_H
#define TVL_SERVER_STATUS_STORE_HEALTH_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "presence/connection.h"

namespace tvl::server {

// What a look at the store found.
struct StoreHealth {
  std::string problem;  // empty if everything answers
  bool root_in_place = false;
  bool disk_answers = false;
  bool lock_table_answers = false;
  std::uint64_t free_bytes = 0;  // of the document root's disk; both 0 if it does not say
  std::uint64_t size_bytes = 0;
  std::vector<LockRow> locks;  // the first ones of the table
  bool more_locks = false;
  std::chrono::steady_clock::time_point time;
};

}  // namespace tvl::server

#endif
