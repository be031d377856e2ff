#ifndef TVL_ENGINE_BATCH_H
#define TVL_ENGINE_BATCH_H

#include "engine/registry.h"

// Batches of calls on one table. Their thread has the table's turn from the first begin to the last end.

namespace tvl::engine {

// Inside another batch of the thread on this table it becomes part of it, and for writing only of one for
// writing.
[[nodiscard]] bool BeginBatch(OpenTable& table, int handle, bool forWriting);

// Ends the handle's newest batch. False if there is none of this thread, or what was written is lost.
[[nodiscard]] bool EndBatch(OpenTable& table, int handle);

// Ends all batches of the handle. False if what was written in them is lost.
[[nodiscard]] bool EndBatches(OpenTable& table, int handle);

}  // namespace tvl::engine

#endif
