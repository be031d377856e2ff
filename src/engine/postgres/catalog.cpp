#include "engine/postgres/catalog.h"

#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "engine/last_error.h"
#include "engine/postgres/standby.h"
#include "engine/postgres/statements.h"

namespace tvl::engine {
namespace {

using std::string_view;
using Outcome = Session::Outcome;

// Taken while the catalog is created: CREATE TABLE IF NOT EXISTS fails if two sessions run it at once.
constexpr char kLockCatalog[] = "SELECT pg_advisory_xact_lock(6076557439741286932)";

std::string Text(int number) {
  return std::to_string(number);
}

// Runs the commands as one transaction.
bool RunAll(Session& session, const std::vector<std::string>& commands) {
  session.Queue("BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE");
  for (const std::string& command : commands) session.Queue(command.c_str());
  session.Queue("COMMIT");
  Results results;
  return session.Finish(results) == Outcome::kDone;
}

// Asks first, because a user who may use the schema need not have the right to create one.
bool Exists(Session& session, const char* question, const std::string& name, bool& exists) {
  Result answer;
  if (session.Run(question, {name}, answer) != Outcome::kDone) return false;
  exists = PQgetisnull(answer.get(), 0, 0) == 0;
  return true;
}

bool CreateCatalog(Session& session, const Permission& permission) {
  const std::string name = CatalogName(permission);
  const std::string schema = '"' + permission.schema + '"';
  bool has_catalog = false;
  bool has_schema = false;
  if (!Exists(session, "SELECT to_regclass($1::text)::text", name, has_catalog)) return false;
  if (has_catalog) return true;
  if (!Exists(session, "SELECT to_regnamespace($1::text)::text", schema, has_schema)) return false;
  std::vector<std::string> commands = {kLockCatalog};
  if (!has_schema) commands.push_back("CREATE SCHEMA IF NOT EXISTS " + schema);
  commands.push_back("CREATE TABLE IF NOT EXISTS " + name +
                     "(id text PRIMARY KEY, store text NOT NULL, inode text NOT NULL, record int NOT NULL,"
                     " key1 int NOT NULL, key2 int NOT NULL, created timestamptz NOT NULL DEFAULT now(),"
                     " orphaned timestamptz)");
  return RunAll(session, commands);
}

std::string RowsDefinition(const RemotePlace& place) {
  const Layout& lengths = place.pointer.layout;
  return "CREATE TABLE " + RowsName(place) +
         "(key1 bytea PRIMARY KEY CHECK (octet_length(key1) = " + Text(lengths.key1) +
         "), key2 bytea NOT NULL CHECK (octet_length(key2) = " + Text(lengths.key2) +
         "), record bytea NOT NULL CHECK (octet_length(record) = " + Text(lengths.record) + "))";
}

bool Refuse(const char* reason) {
  NoteError(reason, Problem::kUnusable);
  return false;
}

bool IsTrue(const Result& result, int column) {
  return Column(result, 0, column) == string_view("\1", 1);
}

template <typename Number>
Number NumberIn(string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

bool CheckTable(Session& session, const RemotePlace& place) {
  const Layout& lengths = place.pointer.layout;
  const std::string question = "SELECT store = $2::text, inode = $3::text, record = " + Text(lengths.record) +
                               " AND key1 = " + Text(lengths.key1) + " AND key2 = " + Text(lengths.key2) +
                               ", " + kHasStandby + " FROM " + CatalogName(place.permission) +
                               " WHERE id = $1::text";
  Result found;
  const Outcome outcome =
      session.Run(question, {place.pointer.id, place.permission.store, std::to_string(place.inode)}, found);
  if (outcome != Outcome::kDone) return false;
  if (PQntuples(found.get()) != 1) return Refuse("the table does not exist in the PostgreSQL database");
  if (!IsTrue(found, 0)) return Refuse("the table belongs to another store than tables.ini names");
  if (!IsTrue(found, 1) && !place.is_copy)
    return Refuse(
        "the file that points to the table in PostgreSQL was copied or restored, so two files may point to "
        "it; "
        "'tvl table adopt' continues with the same rows, 'tvl table fork' with a copy of them");
  if (!IsTrue(found, 2)) return Refuse("the lengths of the table are others in the PostgreSQL database");
  return MayLock(place, IsTrue(found, 3));
}

bool CreateTable(Session& session, const RemotePlace& place) {
  if (place.is_lock_table && !place.permission.asynchronous_locks) {
    const std::optional<bool> hasStandby = AsksStandby(session);
    if (!hasStandby || !MayLock(place, *hasStandby)) return false;
  }
  if (!CreateCatalog(session, place.permission)) return false;
  const Layout& lengths = place.pointer.layout;
  std::vector<std::string> commands = {RowsDefinition(place)};
  if (lengths.key2 > 0) commands.push_back("CREATE INDEX ON " + RowsName(place) + "(key2, key1)");
  // All values are numbers or of checked characters.
  commands.push_back("INSERT INTO " + CatalogName(place.permission) +
                     "(id, store, inode, record, key1, key2) VALUES('" + place.pointer.id + "', '" +
                     place.permission.store + "', '" + std::to_string(place.inode) + "', " +
                     Text(lengths.record) + ", " + Text(lengths.key1) + ", " + Text(lengths.key2) + ")");
  return RunAll(session, commands);
}

bool AdoptTable(Session& session, const RemotePlace& place) {
  const std::string change = "UPDATE " + CatalogName(place.permission) +
                             " SET inode = $1::text, orphaned = NULL WHERE id = $2::text AND store = $3::text"
                             " RETURNING 1";
  Result changed;
  if (session.Run(change, {std::to_string(place.inode), place.pointer.id, place.permission.store}, changed) !=
      Outcome::kDone)
    return false;
  if (PQntuples(changed.get()) == 1) return true;
  return Refuse("the table does not exist in the PostgreSQL database, or belongs to another store");
}

bool DropTable(Session& session, const RemotePlace& place) {
  return RunAll(session,
                {"DELETE FROM " + CatalogName(place.permission) + " WHERE id = '" + place.pointer.id + "'",
                 "DROP TABLE " + RowsName(place)});
}

std::optional<bool> AsksStandby(Session& session) {
  Result standby;
  if (session.Run(std::string("SELECT ") + kHasStandby, {}, standby) != Outcome::kDone) return std::nullopt;
  return IsTrue(standby, 0);
}

std::optional<RemoteEntries> ListTables(Session& session, const Permission& permission) {
  const std::string name = CatalogName(permission);
  bool exists = false;
  if (!Exists(session, "SELECT to_regclass($1::text)::text", name, exists)) return std::nullopt;
  if (!exists) return RemoteEntries();
  const std::string question =
      "SELECT id, inode, coalesce(pg_total_relation_size(to_regclass($2::text || id)), -1)::text,"
      " coalesce(extract(epoch FROM now() - orphaned)::bigint, -1)::text FROM " +
      name + " WHERE store = $1::text ORDER BY id";
  Result found;
  const std::string rows = '"' + permission.schema + "\".rows_";
  if (session.Run(question, {permission.store, rows}, found) != Outcome::kDone) return std::nullopt;
  RemoteEntries entries;
  for (int row = 0; row < PQntuples(found.get()); ++row) {
    RemoteEntry& entry = entries.emplace_back();
    entry.id = Column(found, row, 0);
    entry.inode = NumberIn<std::uint64_t>(Column(found, row, 1));
    entry.bytes = NumberIn<std::int64_t>(Column(found, row, 2));
    entry.orphanedFor = NumberIn<std::int64_t>(Column(found, row, 3));
  }
  return entries;
}

bool NoteOrphans(Session& session, const Permission& permission, const std::vector<std::string>& ids) {
  std::string list;
  for (const std::string& id : ids) list += (list.empty() ? "" : ",") + id;
  const std::string change =
      "UPDATE " + CatalogName(permission) +
      " SET orphaned = CASE WHEN id = ANY(string_to_array($2::text, ',')) THEN coalesce(orphaned, now()) END"
      " WHERE store = $1::text AND (orphaned IS NOT NULL OR id = ANY(string_to_array($2::text, ',')))";
  Result changed;
  return session.Run(change, {permission.store, list}, changed) == Outcome::kDone;
}

bool DropOrphan(Session& session, const RemotePlace& place, std::int64_t seconds) {
  session.Queue("BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE");
  session.Queue("DELETE FROM " + CatalogName(place.permission) +
                    " WHERE id = $1::text AND store = $2::text"
                    " AND orphaned <= now() - make_interval(secs => $3::text::float8) RETURNING 1",
                {place.pointer.id, place.permission.store, std::to_string(seconds)});
  Results deleted;
  if (session.Finish(deleted) != Outcome::kDone) return false;
  if (PQntuples(deleted[1].get()) != 1)
    return Refuse("the table is not an orphan for that long, or belongs to another store");
  session.Queue(("DROP TABLE IF EXISTS " + RowsName(place)).c_str());
  session.Queue("COMMIT");
  Results dropped;
  return session.Finish(dropped) == Outcome::kDone;
}

}  // namespace tvl::engine
