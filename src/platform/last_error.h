#ifndef TVL_PLATFORM_LAST_ERROR_H
#define TVL_PLATFORM_LAST_ERROR_H

namespace tvl {

// The calling thread's last failed file operation: an errno value and the host path, cut to the room kept for
// it.
struct LastError {
  int code;
  char path[1024];
};

// Notes a failure, so that a program can report to its user which file and why. `path` may be null where it
// is not known: an older one would blame another file.
void NoteError(const char* path, int code);

// The errno value noted last, which stays noted.
[[nodiscard]] int LastErrorCode();

// Returns what was noted and clears it.
LastError TakeLastError();

// Notes again what was taken: for an operation that succeeded although one of its steps failed.
void RestoreLastError(const LastError& taken);

}  // namespace tvl

#endif
