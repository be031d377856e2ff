#ifndef TVL_ENGINE_POSTGRES_CHANGE_H
#define TVL_ENGINE_POSTGRES_CHANGE_H

#include <string>
#include <string_view>

#include "engine/key.h"
#include "engine/postgres/session.h"
#include "engine/postgres/session_pool.h"
#include "engine/postgres/statements.h"

namespace tvl::engine {

// A transaction of which it is unknown whether it was committed: the connection broke before the server
// confirmed its end.
struct Doubt {
  std::string transaction;  // its number; empty if that is unknown too
  std::string check;        // finds the last change; empty if there was none
  std::string first;        // parameters of the check
  std::string second;
  bool wrote = false;  // the check finds a row, not none
};

// One change of a table: a written row, or a deletion. The keys, the record and the statements must outlive
// it.
class Change {
 public:
  [[nodiscard]] static Change Write(const Statements& statements, const Key& key1, const Key& key2,
                                    const void* record, int length);
  // One of the keys may be null.
  [[nodiscard]] static Change Delete(const Statements& statements, const Key* key1, const Key* key2);

  [[nodiscard]] const Statement& Command() const { return *command_; }
  void QueueIn(Session& session) const;

  // Returns how to find out later whether the transaction with this change as its last one was committed.
  [[nodiscard]] Doubt DoubtIn(std::string transaction) const;

 private:
  Change(const Statement& command, const std::string& check) : command_(&command), check_(&check) {}

  const Statement* command_;
  const std::string* check_;
  std::string_view first_;   // key 1, or the only key of a deletion
  std::string_view second_;  // key 2, if the command has two
  std::string_view record_;  // empty for a deletion
};

enum class Settled { kCommitted, kRolledBack, kUnknown };

// Finds out with a new connection whether the transaction was committed. Notes an error unless it was.
[[nodiscard]] Settled Settle(SessionPool& pool, const Doubt& doubt);

}  // namespace tvl::engine

#endif
