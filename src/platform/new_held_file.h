#ifndef TVL_PLATFORM_NEW_HELD_FILE_H
#define TVL_PLATFORM_NEW_HELD_FILE_H

#include "platform/files.h"

namespace tvl {

// Creates the empty file `path`, which must not exist, and holds it. It gets the read and write bits of its
// folder. The handle, to be ended with ReleaseFile and CloseHandle; INVALID_HANDLE_VALUE if that failed, with
// the noted error EEXIST if there is a file of that name.
//
// The file is held before it has its name, so nobody can try it in between. A process that is killed on the
// way leaves a file whose name begins with a dot, held by nobody. On a mount that offers neither an exclusive
// rename nor links, the file is created under its own name: one that a stopped trier keeps from being held
// for a second is replaced. That trier may still delete the replacement later, so the owner must ask
// IsStillHeld again.
[[nodiscard]] HANDLE CreateHeldFile(const char* path);

// True while `path` names the open file of this handle and the file answers. A network file system that has
// lost the hold, because its server took the client for dead, fails a read of the file.
[[nodiscard]] bool IsStillHeld(const char* path, HANDLE file);

}  // namespace tvl

#endif
