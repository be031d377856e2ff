#ifndef TVL_PLATFORM_NEW_HELD_FILE_H
#define TVL_PLATFORM_NEW_HELD_FILE_H

#include "platform/files.h"

namespace tvl {

// Creates the empty file `path`, which must not exist, with the read and write bits of its folder, and holds
// it. Returns a handle, to be closed with ReleaseFile and CloseHandle, or INVALID_HANDLE_VALUE on failure,
// with the recorded error EEXIST if a file with that name exists.
//
// The file is held before it gets its name, so nobody can try it in between. A process that is killed
// meanwhile leaves a file whose name begins with a dot and that nobody holds. On a mount that supports
// neither an exclusive rename nor links, the file is created with its final name, and replaced if a stopped
// trier prevents it from being held for a second. That trier may still delete the replacement later, so the
// owner must call IsStillHeld again.
[[nodiscard]] HANDLE CreateHeldFile(const char* path);

// Returns true while `path` refers to the open file of this handle and the file can be read. If a network
// file system has lost the hold, because its server regarded the client as dead, reading the file fails.
[[nodiscard]] bool IsStillHeld(const char* path, HANDLE file);

}  // namespace tvl

#endif
