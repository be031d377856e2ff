#include "frontend/table_checks.h"

#include <cstddef>
#include <optional>
#include <string>

#include <tvlclient/tvl.h>

#include "store/check/finding.h"
#include "store/check/mount.h"

namespace tvl {
namespace {

// The tables of a state in a listing.
struct Counted {
  std::size_t count = 0;
  std::string first;
};

struct TableCounts {
  Counted by_state[TVL_TABLE_COPIED + 1];
};

void CountTable(const TVLDatabaseTable* table, void* counts) {
  Counted& counted = static_cast<TableCounts*>(counts)->by_state[table->state];
  if (++counted.count == 1)
    counted.first = table->path != nullptr ? table->path : std::string("rows_") + table->id;
}

Finding CheckServer(int code, const TVLDatabase& database) {
  const std::string names = std::string("service ") + database.service + ", schema " + database.schema;
  if (code == TVL_OK) return Good(names);
  return Bad(TVLLastTableFailure(), "check tables.ini, the service file of libpq and the PostgreSQL server");
}

Finding CheckStandby(const TVLStoreLayout& store, const TVLDatabase& database) {
  if (database.hasStandby != 0) return Good("commits wait for a synchronous standby");
  constexpr char remedy[] = "set synchronous_standby_names on the PostgreSQL server";
  if (TVLIsTablePointer(store.lockTable) == 0) return Warn("there is no synchronous standby", remedy);
  if (database.acceptsAsynchronousLocks != 0)
    return Warn("there is no synchronous standby: locks may be lost with the server", remedy);
  return Bad("there is no synchronous standby, so the lock table is refused", remedy);
}

std::string Describe(const Counted& tables, const char* what) {
  const std::string number = tables.count == 1 ? "1 table " : std::to_string(tables.count) + " tables ";
  return number + what + ", such as " + tables.first;
}

Finding CheckPointers(const TVLStoreLayout& store) {
  TableCounts counts;
  TVLStoreProblem problem = {};
  if (TVLStoreListDatabaseTables(&store, 0, CountTable, &counts, &problem) != TVL_OK) {
    const std::string reason = problem.path[0] != 0 ? problem.path : TVLLastTableFailure();
    return Bad(std::string(problem.what) + ": " + reason, "make all folders of the store readable");
  }
  const Counted& missing = counts.by_state[TVL_TABLE_ROWS_MISSING];
  const Counted& copied = counts.by_state[TVL_TABLE_COPIED];
  const Counted& orphans = counts.by_state[TVL_TABLE_ORPHAN];
  if (missing.count > 0)
    return Bad(Describe(missing, "without rows in the server"),
               "restore the rows, or create the table again");
  if (copied.count > 0)
    return Bad(Describe(copied, "whose data file was copied or restored"),
               "tvl table adopt (the same rows) or tvl table fork (a copy of them)");
  if (orphans.count > 0)
    return Warn(Describe(orphans, "without a data file"), "tvl table gc lists and drops their rows");
  return Good("every table has its rows, and all rows a table");
}

Finding CheckFileNumbers(const Mount& mount) {
  if (HasStableInodes(mount)) return Good("permanent");
  return Bad(mount.type + " has no permanent file numbers, so tables cannot be in PostgreSQL",
             "SMB: mount with serverino; otherwise use another share");
}

Finding CheckTableFiles(const TVLStoreLayout& store) {
  if (TVLIsTablePointer(store.lockTable) != 0) return Good("the lock table is in PostgreSQL");
  return Bad("on GlusterFS, tables in files are refused",
             "tvl table move tmp/locks/dtlocks.dat --to postgresql");
}

}  // namespace

void CheckTables(const TVLStoreLayout& store, const FindingReport& report) {
  const std::optional<Mount> mount = MountOf(store.locks);
  if (mount && !CanHaveTableFiles(*mount)) report.Add("tables", true, CheckTableFiles(store));
  TVLDatabase database;
  const int code = TVLStoreDatabase(&store, &database);
  if (code == TVL_ERR_NOT_SUPPORTED) return;
  report.Add("PostgreSQL", true, CheckServer(code, database));
  if (mount) report.Add("file numbers", true, CheckFileNumbers(*mount));
  if (code != TVL_OK) return;
  report.Add("synchronous standby", true, CheckStandby(store, database));
  report.Add("tables in PostgreSQL", false, CheckPointers(store));
}

}  // namespace tvl
