#include "engine/postgres/error_note.h"

#include <atomic>

namespace tvl::engine {
namespace {

std::atomic<ErrorNote> passedTo = nullptr;

}  // namespace

void PassErrorsTo(ErrorNote note) {
  passedTo = note;
}

void NoteError(const char* reason, Problem problem) noexcept {
  if (const ErrorNote note = passedTo) note(reason, problem);
}

}  // namespace tvl::engine
