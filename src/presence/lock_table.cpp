#include "base/fixed_text.h"
#include "presence/connection.h"

namespace {

using tvl::TableBatch;
using tvl::TableProblem;

constexpr char kSchema[] = "id-D2 object-D32 computer-D32 ipaddr-D8 class-D4 instance-D4 pid-D8 username-D64";
constexpr char kPrefixes[] = " 1\0";  // a list of one
constexpr int kMostReplacements = 10;

}  // namespace

// A table that could not be opened is tried again at the next operation.
int CConnection::OpenLocksTable() {
  if (table == nullptr) table = std::make_unique<CCtreeFile>();
  if (table->handle >= 0) return 1;
  tvl::PathText path;
  path.Append(locksDir).Append("dtlocks.dat");
  if (path.Fits() && table->Open(path.Text()) != 0) table->AddRecType(kSchema, kPrefixes);
  return 1;
}

// Begins a batch on the table that the path names now. Where it is not the open one any more, as after a
// restore, that is opened. False if the table cannot be used.
bool CConnection::BeginBatch(std::optional<TableBatch>& batch, TableBatch::Kind kind) {
  for (int tries = 0; tries < kMostReplacements; ++tries) {
    OpenLocksTable();
    batch.emplace(table->handle, kind);
    if (!batch->HasBegun()) return false;
    if (batch->StillNamed()) return true;
    batch.reset();
    table->Close();
  }
  return false;
}

// Begins a batch for writing, after rows that an earlier instance left are deleted if that could not be done
// at the start.
bool CConnection::BeginWriting(std::optional<TableBatch>& batch) {
  if (!BeginBatch(batch, TableBatch::Kind::kWrite)) return false;
  if (!former_rows_due_) return true;
  DeleteFormerRows();
  former_rows_due_ = !batch->End();
  return BeginBatch(batch, TableBatch::Kind::kWrite);
}

// Begins the batch of a lock operation, for reading where the table cannot be written, as on a store that is
// mounted read-only. A table that was busy for 10 s is not waited for again.
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
