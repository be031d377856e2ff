#ifndef TVL_PRESENCE_LOCK_TABLE_H
#define TVL_PRESENCE_LOCK_TABLE_H

#include <memory>
#include <optional>

#include "table/ctree_file.h"
#include "table/engine_binding.h"

namespace tvl {

// Opens the lock table in `folder`, which ends in a backslash, unless it is open. A table that could not be
// opened is tried again by the next call. `table` is never null afterwards.
void OpenLockTable(std::unique_ptr<CCtreeFile>& table, const char* folder);

// Begins a batch on the lock table that the path names now. Where that is not the open one any more, as after
// a restore, it is opened. False if the table cannot be used; `batch` says why.
[[nodiscard]] bool BeginLockTableBatch(std::unique_ptr<CCtreeFile>& table, const char* folder,
                                       std::optional<TableBatch>& batch, TableBatch::Kind kind);

// While one exists, this thread's batches of lock tables do not begin, and nothing waits for one: for a
// process that has just waited for the table in vain, and has more to do with it.
class WithoutLockTable {
 public:
  WithoutLockTable();
  ~WithoutLockTable();
  WithoutLockTable(const WithoutLockTable&) = delete;
  WithoutLockTable& operator=(const WithoutLockTable&) = delete;
};

}  // namespace tvl

#endif
