#include "engine/last_error.h"

#include <cerrno>
#include <cstdio>

#include "engine/system.h"

namespace tvl::engine {
namespace {

// Trivially destructible, because calls may still arrive while a process exits, after thread-local objects
// were destroyed.
thread_local char lastError[256];
thread_local Problem last_problem = Problem::kNone;

}  // namespace

void ClearProblem() noexcept {
  last_problem = Problem::kNone;
}

void NoteError(const char* reason, Problem problem) noexcept {
  last_problem = problem;
  std::snprintf(lastError, sizeof lastError, "%s", reason);
}

void NoteSystemError(const char* action, Problem problem) noexcept {
  last_problem = problem;
  char reason[96];
  CopySystemText(errno, reason, sizeof reason);
  std::snprintf(lastError, sizeof lastError, "%s: %s", action, reason);
}

const char* LastErrorText() noexcept {
  return lastError;
}

Problem LastProblem() noexcept {
  return last_problem;
}

}  // namespace tvl::engine
