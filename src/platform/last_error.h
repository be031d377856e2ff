#ifndef TVL_PLATFORM_LAST_ERROR_H
#define TVL_PLATFORM_LAST_ERROR_H

namespace tvl {

// The last failed file operation of the calling thread: an errno value and the host path, cut to fit.
struct LastError {
  int code;
  char path[1024];
};

// Records a failure, so that a program can report the file and the reason. `path` is null if it is unknown;
// keeping an older path would blame the wrong file.
void NoteError(const char* path, int code);

// Returns the last recorded errno value, without clearing it.
[[nodiscard]] int LastErrorCode();

// Returns the last recorded error and clears it.
LastError TakeLastError();

// Returns the English text of an errno value, regardless of the locale of the program; "unknown error" for
// other numbers.
[[nodiscard]] const char* SystemErrorText(int code);

// Restores an error that was taken, for an operation that succeeded although one of its steps failed.
void RestoreLastError(const LastError& taken);

}  // namespace tvl

#endif
