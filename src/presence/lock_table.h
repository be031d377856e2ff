#ifndef TVL_PRESENCE_LOCK_TABLE_H
#define TVL_PRESENCE_LOCK_TABLE_H

#include <memory>
#include <optional>

#include "table/ctree_file.h"
#include "table/engine_binding.h"

namespace tvl {

// Opens the lock table in `folder`, which ends in a backslash, unless it is open. The next call tries a table
// again that could not be opened. `table` is never null afterwards.
void OpenLockTable(std::unique_ptr<CCtreeFile>& table, const char* folder);

// Begins a batch on the current lock table. Reopens it if the path refers to another file now, as after a
// restore. Returns false if the table cannot be used; `batch` contains the reason.
[[nodiscard]] bool BeginLockTableBatch(std::unique_ptr<CCtreeFile>& table, const char* folder,
                                       std::optional<TableBatch>& batch, TableBatch::Kind kind);

// While an object exists, batches on lock tables fail at once on this thread. Used by a process that has just
// waited for the table in vain, and would have to wait again.
class WithoutLockTable {
 public:
  WithoutLockTable();
  ~WithoutLockTable();
  WithoutLockTable(const WithoutLockTable&) = delete;
  WithoutLockTable& operator=(const WithoutLockTable&) = delete;
};

}  // namespace tvl

#endif
