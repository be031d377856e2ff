#include "engine/postgres/error_note.h"

#include <atomic>

namespace tvl::engine {
namespace {

std::atomic<ErrorNote> passed_to = nullptr;

}  // namespace

void PassErrorsTo(ErrorNote note) {
  passed_to = note;
}

void NoteError(const char* reason, Problem problem) noexcept {
  if (const ErrorNote note = passed_to) note(reason, problem);
}

}  // namespace tvl::engine
