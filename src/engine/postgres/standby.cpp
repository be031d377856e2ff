#include "engine/postgres/standby.h"

#include "engine/last_error.h"

namespace tvl::engine {

bool MayLock(const RemotePlace& place, bool hasStandby) {
  if (!place.is_lock_table || hasStandby || place.permission.asynchronous_locks) return true;
  NoteError(
      "the PostgreSQL server has no synchronous standby, so locks could be lost; to accept that, set "
      "locks=asynchronous-accepted in tables.ini");
  return false;
}

}  // namespace tvl::engine
