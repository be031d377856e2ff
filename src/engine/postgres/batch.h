#ifndef TVL_ENGINE_POSTGRES_BATCH_H
#define TVL_ENGINE_POSTGRES_BATCH_H

#include <optional>
#include <string>

#include "engine/patience.h"
#include "engine/postgres/change.h"
#include "engine/postgres/read_ahead.h"
#include "engine/postgres/session_pool.h"
#include "engine/postgres/statements.h"
#include "engine/storage_plugin.h"

namespace tvl::engine {

// A batch on one table: a transaction in a session of its own. Written rows are sent in groups without
// waiting for each, with a savepoint for each row, so that the rows before a refused one are kept.
class Batch {
 public:
  enum class Kind { kRead, kWrite };

  // The table's objects must outlive it. Reads begin a snapshot, writes lock the table for all others.
  Batch(const RemotePlace& place, const Statements& statements, SessionPool& pool, Kind kind,
        Patience& patience);
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;
  ~Batch() = default;

  // Returns false if the transaction could not begin; an error is noted.
  [[nodiscard]] bool HasBegun() const { return has_begun_; }

  // Returns whether the connection broke meanwhile, so that another try may succeed.
  [[nodiscard]] bool WasLostAtBegin() const { return was_lost_at_begin_; }

  // Returns the row that was found, valid until the next call. Returns nothing and notes an error if there is
  // none, or the batch is lost.
  [[nodiscard]] std::optional<RemoteRow> Read(int keyNumber, ReadMode mode, const Key& key);

  // Writes a row, perhaps later: a refusal may be noticed by a later call.
  [[nodiscard]] bool Write(const Change& change);

  // Deletes rows at once. Returns false and notes an error if there were none.
  [[nodiscard]] bool Delete(const Change& change);

  // Rolls back.
  void Abandon() { session_.Drop(); }

  // Commits. Returns false and notes an error unless all rows that were accepted are in the table now.
  [[nodiscard]] bool End();

 private:
  [[nodiscard]] Session::Outcome Start();
  [[nodiscard]] Session::Outcome StartWriting();
  [[nodiscard]] bool IsLost() const;
  [[nodiscard]] bool Lose();
  void QueueChange(const Change& change);
  // Whether the last row of the group was already reported as accepted, or the current call reports it.
  enum class Reported { kAccepted, kByThisCall };
  [[nodiscard]] bool FinishGroup(Reported reported, Results& results);
  [[nodiscard]] bool FinishGroup(Reported reported);
  [[nodiscard]] bool RollBackRow();
  [[nodiscard]] bool Commit();

  const RemotePlace& place_;
  const Statements& statements_;
  SessionPool& pool_;
  SessionLease session_;
  ReadAhead ahead_;
  Result found_;  // by a read of an equal key
  Doubt doubt_;
  int queued_ = 0;
  bool has_begun_ = false;
  bool was_lost_at_begin_ = false;
  bool writes_ = false;
  bool is_row_refused_ = false;  // a row that was accepted before
};

// Reads like Batch::Read, but a single row, outside a batch.
[[nodiscard]] Session::Outcome ReadOneRow(Session& session, const Statements& statements, int keyNumber,
                                          ReadMode mode, const Key& key, Result& rows);

// Makes one change in a transaction of its own, in one round trip. Returns the number of changed rows, or
// nothing and notes an error.
[[nodiscard]] std::optional<int> ChangeInOneTrip(const Statements& statements, SessionPool& pool,
                                                 const Change& change, Patience& patience);

}  // namespace tvl::engine

#endif
