#include "platform/last_error.h"

#include <cstring>

namespace tvl {
namespace {

// Trivially destructible, because operations that run while the process exits may still record an error.
constinit thread_local LastError last_error = {};

}  // namespace

void NoteError(const char* path, int code) {
  last_error.code = code;
  if (path == nullptr) path = "";
  const std::size_t length = strnlen(path, sizeof last_error.path - 1);
  std::memcpy(last_error.path, path, length);
  last_error.path[length] = 0;
}

int LastErrorCode() {
  return last_error.code;
}

void RestoreLastError(const LastError& taken) {
  last_error = taken;
}

LastError TakeLastError() {
  const LastError taken = last_error;
  last_error.code = 0;
  last_error.path[0] = 0;
  return taken;
}

}  // namespace tvl
