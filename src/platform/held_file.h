#ifndef TVL_PLATFORM_HELD_FILE_H
#define TVL_PLATFORM_HELD_FILE_H

#include "platform/files.h"

// A file is held by an open-file-description lock on a byte range. The kernel releases it when the holder's
// last descriptor is closed, however the process ends, including on network shares that support such locks.
// Classic locks would be lost with any close() of the same file elsewhere in the process.
//
// To find out whether a file is held, a client tries to lock it for a moment. Holders and triers lock the
// turn byte first (store/lock_ranges.h), so a trier is never mistaken for a holder. Nobody waits longer than
// a second for the turn; a file whose turn is not available counts as held. A file that is locked as a whole,
// as by earlier releases, is held, and tries by earlier releases are waited for.
//
// A lock belongs to the open file, which a forked child shares. So in a child every locked descriptor is
// replaced by one of /dev/null with the same number. The holds of the parent end with the parent, regardless
// of its children.

namespace tvl {

// Holds a file with the open file of this handle. Returns false if another open file holds it, or if the file
// system has no locks. Call ReleaseFile before closing the handle.
[[nodiscard]] bool HoldFile(HANDLE file);

// Releases a held file.
void ReleaseFile(HANDLE file);

// Returns true if another open file holds the file of `file`, which must be open for writing, or uses
// it as a table.
[[nodiscard]] bool IsHeld(HANDLE file);

// The same for a file by its name. A missing file is not held; a file that cannot be opened for the try
// counts as held.
[[nodiscard]] bool IsFileHeld(const char* path);

// Returns true if the system reports a lock with which another open file holds the file at `path` or uses it
// as a table. Takes no lock, and the file need only be readable; links are not followed. On SMB the locks of
// other computers are not reported.
[[nodiscard]] bool IsSeenHeld(const char* path);

// Calls `action` while a try prevents others from holding the file of `file`. Returns false without the
// call if it is held or that cannot be determined.
[[nodiscard]] bool WhileUnheld(HANDLE file, void (*action)(void* argument), void* argument);

// Returns true if `path` still refers to the open file `file`, which may have been replaced since it was
// opened.
[[nodiscard]] bool StillNames(const char* path, HANDLE file);

// Sets the read and write bits of a file to those of its folder, regardless of the umask, because files that
// clients share must be accessible to everyone who can access the folder. Ignores a refusal, which means that
// the file belongs to another user.
void ShareLikeFolder(const char* path, HANDLE file);

}  // namespace tvl

#endif
