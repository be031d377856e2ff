#include "engine/last_error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tvl::engine {
namespace {

// Trivially destructible: calls may still come while a process unloads, when thread-locals are gone.
thread_local char lastError[256];

}  // namespace

void NoteError(const char* reason) noexcept {
  std::snprintf(lastError, sizeof lastError, "%s", reason);
}

void NoteSystemError(const char* action) noexcept {
  char reason[96];
  std::snprintf(lastError, sizeof lastError, "%s: %s", action, strerror_r(errno, reason, sizeof reason));
}

const char* LastErrorText() noexcept {
  return lastError;
}

}  // namespace tvl::engine
