#include "engine/batch.h"

#include <algorithm>
#include <iterator>

#include "engine/last_error.h"

namespace tvl::engine {

bool BeginBatch(OpenTable& table, int handle, bool for_writing) {
  Patience patience;
  Turn turn(table.turn, patience);
  if (!turn.Has()) return false;
  table.batches.reserve(table.batches.size() + 1);
  if (table.batches.empty()) {
    if (!table.storage->Begin(for_writing, patience)) return false;
    table.batch_writes = for_writing;
  } else if (for_writing && !table.batch_writes) {
    NoteError("a batch for reading is open", Problem::kReadOnly);
    return false;
  }
  table.batches.push_back(handle);
  turn.Keep();
  return true;
}

bool EndBatch(OpenTable& table, int handle) {
  Patience patience;
  const Turn turn(table.turn, patience);
  if (!turn.Has()) return false;
  const auto newest = std::find(table.batches.rbegin(), table.batches.rend(), handle);
  if (newest == table.batches.rend()) {
    NoteError("the handle has no batch");
    return false;
  }
  table.batches.erase(std::next(newest).base());
  const bool kept = !table.batches.empty() || table.storage->End();
  table.turn.Release();
  return kept;
}

bool EndBatches(OpenTable& table, int handle) {
  Patience patience;
  const Turn turn(table.turn, patience);
  if (!turn.Has()) return false;
  bool kept = true;
  for (auto left = std::count(table.batches.begin(), table.batches.end(), handle); left > 0; --left) {
    kept = EndBatch(table, handle) && kept;
  }
  return kept;
}

}  // namespace tvl::engine
