#include "engine/postgres/batch.h"

#include <charconv>
#include <utility>

#include "engine/last_error.h"
#include "engine/postgres/standby.h"

namespace tvl::engine {
namespace {

using std::string_view;
using Outcome = Session::Outcome;

constexpr int kRowsInGroup = 50;

constexpr char kBeginReading[] = "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY";
constexpr char kTakeSnapshot[] = "SELECT 1";
constexpr char kBeginWriting[] = "BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE";
constexpr char kBeginRow[] = "SAVEPOINT row_of_batch";
constexpr char kEndRow[] = "RELEASE SAVEPOINT row_of_batch";
constexpr char kRollBackRow[] = "ROLLBACK TO SAVEPOINT row_of_batch";
constexpr std::size_t kResultsOfRow = 3;

// Places in the results of a change in one trip.
constexpr std::size_t kLockInTrip = 1;
constexpr std::size_t kChangeInTrip = 2;

std::string Number(int number) {
  std::string bytes(8, '\0');
  for (std::size_t i = 0; i < 4; ++i)
    bytes[7 - i] = static_cast<char>(static_cast<unsigned int>(number) >> (8 * i));
  return bytes;
}

int ChangedRows(const Result& result) {
  const string_view text = PQcmdTuples(result.get());
  int rows = 0;
  std::from_chars(text.data(), text.data() + text.size(), rows);
  return rows;
}

// Returns false and notes an error if the server confirmed a commit, but warned that a standby may not have
// it.
bool IsSafe(Session& session) {
  if (!session.TakeWarning()) return true;
  NoteError("the change was committed, but perhaps not on the standby of the PostgreSQL server");
  return false;
}

struct Search {
  int keyNumber;
  ReadMode mode;
  const Key& key;
  int count;
};

Outcome FetchRows(Session& session, const Statements& statements, const Search& search, Result& rows) {
  const std::size_t which =
      static_cast<std::size_t>(search.keyNumber - 1) * kReadModes + static_cast<std::size_t>(search.mode);
  const Statement& statement = statements.reads[which];
  if (const Outcome prepared = session.Prepare(statement); prepared != Outcome::kDone) return prepared;
  const std::string count = Number(search.count);
  session.Queue(statement, {{search.key.Bytes(), static_cast<std::size_t>(search.key.Length())}, count});
  Results results;
  const Outcome outcome = session.Finish(results);
  if (!results.empty()) rows = std::move(results.front());
  return outcome;
}

}  // namespace

Batch::Batch(const RemotePlace& place, const Statements& statements, SessionPool& pool, Kind kind,
             Patience& patience)
    : place_(place),
      statements_(statements),
      pool_(pool),
      session_(pool, SessionLease::Kind::kBatch, patience),
      writes_(kind == Kind::kWrite) {
  const Outcome outcome = session_.Has() ? Start() : Outcome::kRefused;
  has_begun_ = outcome == Outcome::kDone;
  was_lost_at_begin_ = outcome == Outcome::kLost;
  if (!has_begun_) session_.Drop();
}

Outcome Batch::Start() {
  if (writes_) return StartWriting();
  session_->Queue(kBeginReading);
  session_->Queue(kTakeSnapshot);
  Results results;
  return session_->Finish(results);
}

Outcome Batch::StartWriting() {
  if (const Outcome prepared = session_->Prepare(statements_.lock_for_batch); prepared != Outcome::kDone)
    return prepared;
  session_->Queue(kBeginWriting);
  session_->Queue(statements_.lock_for_batch, {});
  Results results;
  if (const Outcome outcome = session_->Finish(results); outcome != Outcome::kDone) return outcome;
  doubt_.transaction = Column(results[1], 0, 0);
  return MayLock(place_, Column(results[1], 0, 1) == string_view("\1", 1)) ? Outcome::kDone
                                                                           : Outcome::kRefused;
}

bool Batch::IsLost() const {
  if (!session_.Has()) NoteError("the batch was rolled back");
  return !session_.Has();
}

// The server rolls the transaction back when the connection ends.
bool Batch::Lose() {
  session_.Drop();
  ahead_.Clear();
  queued_ = 0;
  return false;
}

void Batch::QueueChange(const Change& change) {
  ahead_.Clear();
  session_->Queue(kBeginRow);
  change.QueueIn(*session_);
  session_->Queue(kEndRow);
  doubt_ = change.DoubtIn(std::move(doubt_.transaction));
  ++queued_;
}

// The server skipped the rows after the refused one.
bool Batch::RollBackRow() {
  queued_ = 0;
  session_->Queue(kRollBackRow);
  session_->Queue(kEndRow);
  Results results;
  return session_->Finish(results) == Outcome::kDone;
}

bool Batch::FinishGroup(Reported reported, Results& results) {
  const Outcome outcome = session_->Finish(results);
  if (outcome == Outcome::kDone) {
    queued_ = 0;
    return true;
  }
  const bool is_last = results.size() / kResultsOfRow + 1 == static_cast<std::size_t>(queued_);
  is_row_refused_ = is_row_refused_ || !is_last || reported == Reported::kAccepted;
  if (outcome == Outcome::kLost || !RollBackRow()) return Lose();
  return false;
}

bool Batch::FinishGroup(Reported reported) {
  Results results;
  return queued_ == 0 || FinishGroup(reported, results);
}

std::optional<RemoteRow> Batch::Read(int keyNumber, ReadMode mode, const Key& key) {
  if (IsLost() || !FinishGroup(Reported::kAccepted)) return std::nullopt;
  if (const std::optional<RemoteRow> known = ahead_.Find(keyNumber, mode, key)) return known;
  Result rows;
  const int count = ahead_.CountFor(keyNumber, mode, key);
  if (FetchRows(*session_, statements_, {keyNumber, mode, key, count}, rows) != Outcome::kDone) {
    static_cast<void>(Lose());
    return std::nullopt;
  }
  std::optional<RemoteRow> first;
  if (mode == ReadMode::kEqual) {
    found_ = std::move(rows);
    if (PQntuples(found_.get()) > 0) first = RowOf(found_, 0);
  } else {
    ahead_.Set(keyNumber, mode, std::move(rows));
    first = ahead_.First();
  }
  if (!first) NoteError("there is no such record", Problem::kNotFound);
  return first;
}

bool Batch::Write(const Change& change) {
  if (IsLost()) return false;
  if (queued_ == 0 && session_->Prepare(change.Command()) != Outcome::kDone) return Lose();
  QueueChange(change);
  return queued_ < kRowsInGroup || FinishGroup(Reported::kByThisCall);
}

bool Batch::Delete(const Change& change) {
  if (IsLost() || !FinishGroup(Reported::kAccepted)) return false;
  if (session_->Prepare(change.Command()) != Outcome::kDone) return Lose();
  QueueChange(change);
  Results results;
  if (!FinishGroup(Reported::kByThisCall, results)) return false;
  const bool deleted = results.size() == kResultsOfRow && ChangedRows(results[1]) > 0;
  if (!deleted) NoteError("there is no such record", Problem::kNotFound);
  return deleted;
}

// Commits with the last group in one round trip.
bool Batch::Commit() {
  session_->Queue("COMMIT");
  static_cast<void>(session_->TakeWarning());
  Results results;
  const Outcome outcome = session_->Finish(results);
  if (outcome == Outcome::kDone) return IsSafe(*session_);
  if (outcome == Outcome::kLost) {
    static_cast<void>(Lose());
    return writes_ && Settle(pool_, doubt_) == Settled::kCommitted;
  }
  if (queued_ == 0 || !RollBackRow()) return Lose();
  is_row_refused_ = true;
  return Commit();
}

bool Batch::End() {
  if (IsLost()) return false;
  const bool is_committed = Commit();
  if (is_committed && is_row_refused_) NoteError("the server refused a row of the batch, and those after it");
  return is_committed && !is_row_refused_;
}

Outcome ReadOneRow(Session& session, const Statements& statements, int keyNumber, ReadMode mode,
                   const Key& key, Result& rows) {
  return FetchRows(session, statements, {keyNumber, mode, key, 1}, rows);
}

std::optional<int> ChangeInOneTrip(const Statements& statements, SessionPool& pool, const Change& change,
                                   Patience& patience) {
  SessionLease session(pool, SessionLease::Kind::kCall, patience);
  if (!session.Has() || session->Prepare(statements.lock_for_change) != Outcome::kDone ||
      session->Prepare(change.Command()) != Outcome::kDone)
    return std::nullopt;
  session->Queue(kBeginWriting);
  session->Queue(statements.lock_for_change, {});
  session->QueueFlush();  // the number of the transaction must be known before its end
  change.QueueIn(*session);
  session->Queue("COMMIT");
  static_cast<void>(session->TakeWarning());
  Results results;
  const Outcome outcome = session->Finish(results);
  if (outcome == Outcome::kDone)
    return IsSafe(*session) ? std::optional(ChangedRows(results[kChangeInTrip])) : std::nullopt;
  session.Drop();
  if (outcome == Outcome::kRefused) return std::nullopt;
  const std::string transaction(results.size() > kLockInTrip ? Column(results[kLockInTrip], 0, 0)
                                                             : string_view());
  if (Settle(pool, change.DoubtIn(transaction)) != Settled::kCommitted) return std::nullopt;
  return results.size() > kChangeInTrip ? ChangedRows(results[kChangeInTrip]) : 1;
}

}  // namespace tvl::engine
