#ifndef TVL_PLATFORM_HELD_FILE_H
#define TVL_PLATFORM_HELD_FILE_H

#include "platform/files.h"

// A file is held by a byte-range lock of the open-file-description kind. The kernel drops it when the
// holder's last descriptor is closed, in whatever way the process ends, also on network shares that carry
// such locks. Classic locks would vanish with any close() of the same file elsewhere in the process.
//
// To find out whether a file is held one tries to lock it for a moment. A holder and a trier take the turn
// byte first (store/lock_ranges.h), so neither takes another trier for a holder. Nobody waits longer than a
// second for the turn; a file for which it cannot be had counts as held. A file held as a whole, as earlier
// releases do it, is held, and their tries are waited out.
//
// A lock belongs to the open file, which a forked child shares. In a child every locked descriptor is
// therefore replaced by one of /dev/null, which keeps its number taken: the parent's holds end with the
// parent, whatever its children do.

namespace tvl {

// Takes the hold on a file for the open file of this handle. False if another open file has it, or the file
// system has no locks. End it with ReleaseFile before the handle is closed.
[[nodiscard]] bool HoldFile(HANDLE file);

// Ends the hold.
void ReleaseFile(HANDLE file);

// True if another open file holds the file of `descriptor`, which must be open for writing, or has it in use
// as a table.
[[nodiscard]] bool IsHeld(int descriptor);

// The same for a file by its name. A missing file is not held; one that cannot be opened for the try is.
[[nodiscard]] bool IsFileHeld(const char* path);

// Calls `action` while a try keeps the file of `descriptor` from being held. False, without the call, if it
// is held or that cannot be determined.
[[nodiscard]] bool WhileUnheld(int descriptor, void (*action)(void* argument), void* argument);

// True if `path` names the very file that is open as `file`: another may have replaced it since it was
// opened.
[[nodiscard]] bool StillNames(const char* path, HANDLE file);

// Gives a file the read and write bits of its folder's mode, whatever the umask: what clients share must be
// open to everyone to whom the folder is open. A refusal is ignored: the file then belongs to another user.
void ShareLikeFolder(const char* path, HANDLE file);

}  // namespace tvl

#endif
