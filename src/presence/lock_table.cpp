#include "presence/lock_table.h"

#include "base/fixed_text.h"
#include "presence/connection.h"
#include "store/layout.h"
#include "store/lock_row.h"

namespace {

using tvl::TableBatch;
using tvl::TableProblem;

constexpr int kMostReplacements = 10;

thread_local bool is_without_table = false;

}  // namespace

namespace tvl {

WithoutLockTable::WithoutLockTable() {
  is_without_table = true;
}

WithoutLockTable::~WithoutLockTable() {
  is_without_table = false;
}

void OpenLockTable(std::unique_ptr<CCtreeFile>& table, const char* folder) {
  if (table == nullptr) table = std::make_unique<CCtreeFile>();
  if (table->handle >= 0 || is_without_table) return;
  PathText path;
  path.Append(folder).Append(kLockTableName);
  if (path.Fits() && table->Open(path.Text()) != 0) table->AddRecType(kLockRowSchema, kLockRowId);
}

bool BeginLockTableBatch(std::unique_ptr<CCtreeFile>& table, const char* folder,
                         std::optional<TableBatch>& batch, TableBatch::Kind kind) {
  for (int tries = 0; tries < kMostReplacements; ++tries) {
    OpenLockTable(table, folder);
    batch.emplace(is_without_table ? -1 : table->handle, kind);
    if (!batch->HasBegun()) return false;
    if (batch->StillNamed()) return true;
    batch.reset();
    table->Close();
  }
  return false;
}

}  // namespace tvl

int CConnection::OpenLocksTable() {
  tvl::OpenLockTable(table, locksDir);
  return 1;
}

bool CConnection::BeginBatch(std::optional<TableBatch>& batch, TableBatch::Kind kind) {
  return tvl::BeginLockTableBatch(table, locksDir, batch, kind);
}

// Begins a batch for writing. First deletes the rows of an earlier instance if that was not possible at the
// start.
bool CConnection::BeginWriting(std::optional<TableBatch>& batch) {
  if (!BeginBatch(batch, TableBatch::Kind::kWrite)) return false;
  if (!former_rows_due_) return true;
  DeleteFormerRows();
  former_rows_due_ = !batch->End();
  return BeginBatch(batch, TableBatch::Kind::kWrite);
}

// Begins the batch of a lock operation; for reading if the table cannot be written, as on a store that is
// mounted read-only. Does not wait again for a table that was busy for 10 s.
CConnection::Access CConnection::BeginOperation(std::optional<TableBatch>& batch) {
  Access access = Access::kNone;
  if (BeginWriting(batch)) {
    access = Access::kWriting;
  } else if (table->handle >= 0 && batch->Problem() != TableProblem::kBusy &&
             BeginBatch(batch, TableBatch::Kind::kRead)) {
    access = Access::kReading;
  }
  KeepPresence();
  return access;
}
