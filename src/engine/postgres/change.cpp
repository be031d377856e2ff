#include "engine/postgres/change.h"

#include <utility>

#include "engine/last_error.h"

namespace tvl::engine {
namespace {

using std::string_view;

enum class Status { kCommitted, kAborted, kInProgress, kUnknown };

// A number that the server has not reached was lost with it.
constexpr char kStatusOf[] =
    "SELECT CASE WHEN $1::text::xid8 > pg_current_xact_id() THEN 'aborted' ELSE "
    "pg_xact_status($1::text::xid8) END";

string_view BytesOf(const Key& key) {
  return {key.Bytes(), static_cast<std::size_t>(key.Length())};
}

Status StatusIn(string_view text) {
  if (text == "committed") return Status::kCommitted;
  if (text == "aborted") return Status::kAborted;
  return text == "in progress" ? Status::kInProgress : Status::kUnknown;
}

// Runs a command that returns at most one row in a session of its own. Returns no result if it fails.
Result Ask(SessionPool& pool, const std::string& sql, std::initializer_list<string_view> parameters,
           Patience& patience) {
  const SessionLease session(pool, SessionLease::Kind::kBatch, patience);
  Result answer;
  if (session.Has() && session->Run(sql, parameters, answer) == Session::Outcome::kDone) return answer;
  return nullptr;
}

Status StatusOf(SessionPool& pool, const std::string& transaction, Patience& patience) {
  const Result status = Ask(pool, kStatusOf, {transaction}, patience);
  return status == nullptr ? Status::kUnknown : StatusIn(Column(status, 0, 0));
}

// After a crash the server may reuse the number of a lost transaction, so the last change has
// to be there as well.
bool HasLastChange(SessionPool& pool, const Doubt& doubt, Patience& patience) {
  if (doubt.check.empty()) return true;
  const Result rows = doubt.second.empty() ? Ask(pool, doubt.check, {doubt.first}, patience)
                                           : Ask(pool, doubt.check, {doubt.first, doubt.second}, patience);
  return rows != nullptr && (PQntuples(rows.get()) == 1) == doubt.wrote;
}

}  // namespace

Change Change::Write(const Statements& statements, const Key& key1, const Key& key2, const void* record,
                     int length) {
  Change change(key2.IsBlank() ? statements.write_keeping_key2 : statements.write, statements.written_row);
  change.first_ = BytesOf(key1);
  change.second_ = BytesOf(key2);
  change.record_ = {static_cast<const char*>(record), static_cast<std::size_t>(length)};
  return change;
}

Change Change::Delete(const Statements& statements, const Key* key1, const Key* key2) {
  if (key1 == nullptr) {
    Change change(statements.delete_by_key2, statements.row_of_key2);
    change.first_ = BytesOf(*key2);
    return change;
  }
  Change change = key2 == nullptr ? Change(statements.delete_by_key1, statements.row_of_key1)
                                  : Change(statements.delete_by_both, statements.row_of_both);
  change.first_ = BytesOf(*key1);
  if (key2 != nullptr) change.second_ = BytesOf(*key2);
  return change;
}

void Change::QueueIn(Session& session) const {
  if (!record_.empty()) {
    session.Queue(*command_, {first_, second_, record_});
  } else if (!second_.empty()) {
    session.Queue(*command_, {first_, second_});
  } else {
    session.Queue(*command_, {first_});
  }
}

Doubt Change::DoubtIn(std::string transaction) const {
  const bool wrote = !record_.empty();
  return {std::move(transaction), *check_, std::string(first_), std::string(wrote ? record_ : second_),
          wrote};
}

Settled Settle(SessionPool& pool, const Doubt& doubt) {
  Patience patience;
  Status status = Status::kUnknown;
  if (!doubt.transaction.empty()) status = StatusOf(pool, doubt.transaction, patience);
  while (status == Status::kInProgress && patience.Pause())
    status = StatusOf(pool, doubt.transaction, patience);
  if (status == Status::kCommitted && HasLastChange(pool, doubt, patience)) return Settled::kCommitted;
  if (status == Status::kAborted) {
    NoteError("the connection to PostgreSQL broke, and the change was rolled back");
    return Settled::kRolledBack;
  }
  NoteError("the connection to PostgreSQL broke; it is unknown whether the change was committed");
  return Settled::kUnknown;
}

}  // namespace tvl::engine
