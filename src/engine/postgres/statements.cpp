#include "engine/postgres/statements.h"

#include "engine/postgres/standby.h"

namespace tvl::engine {
namespace {

constexpr const char* kOperators[kReadModes] = {"=", ">", ">=", "<", "<="};

bool IsDownward(std::size_t mode) {
  return mode >= 3;
}

std::string Read(const std::string& rows, std::size_t keyNumber, std::size_t mode) {
  const std::string key = "key" + std::to_string(keyNumber);
  const std::string direction = IsDownward(mode) ? " DESC" : "";
  const std::string order = keyNumber == 1 ? "key1" + direction : "key2" + direction + ", key1" + direction;
  return "SELECT key1, key2, record FROM " + rows + " WHERE " + key + ' ' + kOperators[mode] +
         " $1::bytea ORDER BY " + order + " LIMIT $2::int8";
}

std::string Write(const std::string& rows, const char* changes) {
  return "INSERT INTO " + rows + " VALUES($1::bytea, $2::bytea, $3::bytea) ON CONFLICT(key1) DO UPDATE SET " +
         changes;
}

// The number of an advisory lock, from the table's id.
std::string LockNumber(const std::string& id) {
  return "('x" + id.substr(0, 16) + "')::bit(64)::bigint";
}

std::string Lock(const char* function, const std::string& id) {
  return std::string("SELECT pg_current_xact_id()::text, ") + kHasStandby + " FROM " + function + "(" +
         LockNumber(id) + ")";
}

}  // namespace

std::string RowsName(const RemotePlace& place) {
  return '"' + place.permission.schema + "\".\"rows_" + place.pointer.id + '"';
}

std::string CatalogName(const Permission& permission) {
  return '"' + permission.schema + "\".\"tvl_tables\"";
}

Statements::Statements(const RemotePlace& place) {
  const std::string rows = RowsName(place);
  const auto named = [&place](const std::string& name, const std::string& sql) {
    return Statement{name + '_' + place.pointer.id, sql};
  };
  for (std::size_t keyNumber = 1; keyNumber <= 2; ++keyNumber) {
    for (std::size_t mode = 0; mode < kReadModes; ++mode) {
      const std::size_t which = (keyNumber - 1) * kReadModes + mode;
      reads[which] = named('r' + std::to_string(which), Read(rows, keyNumber, mode));
    }
  }
  write = named("w", Write(rows, "key2 = excluded.key2, record = excluded.record"));
  write_keeping_key2 = named("wk", Write(rows, "record = excluded.record"));
  const std::string key1 = rows + " WHERE key1 = $1::bytea";
  const std::string key2 = rows + " WHERE key2 = $1::bytea";
  const std::string both = key1 + " AND key2 = $2::bytea";
  delete_by_key1 = named("d1", "DELETE FROM " + key1);
  delete_by_key2 = named("d2", "DELETE FROM " + key2);
  delete_by_both = named("d3", "DELETE FROM " + both);
  row_of_key1 = "SELECT 1 FROM " + key1 + " LIMIT 1";
  row_of_key2 = "SELECT 1 FROM " + key2 + " LIMIT 1";
  row_of_both = "SELECT 1 FROM " + both + " LIMIT 1";
  written_row = "SELECT 1 FROM " + key1 + " AND record = $2::bytea";
  lock_for_change = named("lc", Lock("pg_advisory_xact_lock_shared", place.pointer.id));
  lock_for_batch = named("lb", Lock("pg_advisory_xact_lock", place.pointer.id));
}

}  // namespace tvl::engine
