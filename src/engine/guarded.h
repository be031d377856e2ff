#ifndef TVL_ENGINE_GUARDED_H
#define TVL_ENGINE_GUARDED_H

#include <exception>

#include "engine/last_error.h"

namespace tvl::engine {

// Converts exceptions to the failure result, because exported functions must not throw.
template <typename Action>
int Guarded(int failure, Action action) noexcept {
  ClearProblem();
  try {
    return action();
  } catch (const std::exception& problem) {
    NoteError(problem.what());
    return failure;
  }
}

}  // namespace tvl::engine

#endif
