#include "engine/postgres/table.h"

#include <chrono>
#include <cstring>
#include <string_view>

#include "engine/last_error.h"
#include "engine/postgres/read_ahead.h"

namespace tvl::engine {
namespace {

using std::chrono::steady_clock;
using Outcome = Session::Outcome;

bool HasLength(std::string_view bytes, int length) {
  return bytes.size() == static_cast<std::size_t>(length);
}

}  // namespace

bool PostgresTable::TakeRow(const RemoteRow& row, int keyNumber, Key& key, Key* other, void* record) const {
  const Layout& lengths = Lengths();
  if (!HasLength(row.key1, lengths.key1) || !HasLength(row.key2, lengths.key2) ||
      !HasLength(row.record, lengths.record)) {
    NoteError("a key or a record is damaged", Problem::kDamaged);
    return false;
  }
  const std::string_view keys[] = {row.key1, row.key2};
  const std::string_view found = keys[keyNumber - 1];
  key.Assign(found.data(), found.size());
  if (other != nullptr) other->Assign(keys[2 - keyNumber].data(), keys[2 - keyNumber].size());
  std::memcpy(record, row.record.data(), row.record.size());
  return true;
}

bool PostgresTable::Read(int keyNumber, ReadMode mode, Key& key, Key* other, void* record,
                         Patience& patience) {
  if (batch_) {
    const std::optional<RemoteRow> row = batch_->Read(keyNumber, mode, key);
    return row && TakeRow(*row, keyNumber, key, other, record);
  }
  // A read may begin again with a new connection.
  for (;;) {
    SessionLease session(pool_, SessionLease::Kind::kCall, patience);
    if (!session.Has()) return false;
    Result rows;
    const Outcome outcome = ReadOneRow(*session, statements_, keyNumber, mode, key, rows);
    if (outcome == Outcome::kLost && steady_clock::now() < patience.End()) continue;
    if (outcome != Outcome::kDone) return false;
    if (PQntuples(rows.get()) == 1) return TakeRow(RowOf(rows, 0), keyNumber, key, other, record);
    NoteError("there is no such record", Problem::kNotFound);
    return false;
  }
}

// Others may commit while the server is asked, so the check that the lock table requires is made in a batch.
bool PostgresTable::Alone(const Change& change, bool deletes, Patience& patience) {
  if (place_.is_lock_table) {
    Batch alone(place_, statements_, pool_, Batch::Kind::kWrite, patience);
    return alone.HasBegun() && (deletes ? alone.Delete(change) : alone.Write(change)) && alone.End();
  }
  const std::optional<int> rows = ChangeInOneTrip(statements_, pool_, change, patience);
  if (rows && *rows == 0) NoteError("there is no such record", Problem::kNotFound);
  return rows && *rows > 0;
}

bool PostgresTable::Write(const Key& key1, const Key& key2, const void* record, Patience& patience) {
  const Change change = Change::Write(statements_, key1, key2, record, Lengths().record);
  return batch_ ? batch_->Write(change) : Alone(change, false, patience);
}

bool PostgresTable::Delete(const Key* key1, const Key* key2, Patience& patience) {
  if (key1 == nullptr && key2 == nullptr) {
    NoteError("both keys are empty");
    return false;
  }
  const Change change = Change::Delete(statements_, key1, key2);
  return batch_ ? batch_->Delete(change) : Alone(change, true, patience);
}

bool PostgresTable::Begin(bool for_writing, Patience& patience) {
  const Batch::Kind kind = for_writing ? Batch::Kind::kWrite : Batch::Kind::kRead;
  do {
    batch_.emplace(place_, statements_, pool_, kind, patience);
  } while (batch_->WasLostAtBegin() && steady_clock::now() < patience.End());
  const bool has_begun = batch_->HasBegun();
  if (!has_begun) batch_.reset();
  return has_begun;
}

bool PostgresTable::End() {
  const bool kept = batch_->End();
  batch_.reset();
  return kept;
}

// Without End, the batch's transaction must not continue in a session that others get.
PostgresTable::~PostgresTable() {
  if (batch_) batch_->Abandon();
}

}  // namespace tvl::engine
