#ifndef TVL_ENGINE_BATCH_H
#define TVL_ENGINE_BATCH_H

#include "engine/registry.h"

// Batches of calls on one table. Their thread has the turn of the table from the first begin to the last end.

namespace tvl::engine {

// Begins a batch. Inside another batch of the thread on this table it becomes part of that one; a batch for
// writing can only be part of a batch for writing.
[[nodiscard]] bool BeginBatch(OpenTable& table, int handle, bool for_writing);

// Ends the newest batch of the handle. Returns false if this thread has none, or if its changes are lost.
[[nodiscard]] bool EndBatch(OpenTable& table, int handle);

// Ends all batches of the handle. Returns false if their changes are lost.
[[nodiscard]] bool EndBatches(OpenTable& table, int handle);

}  // namespace tvl::engine

#endif
