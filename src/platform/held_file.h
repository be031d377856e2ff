#ifndef TVL_PLATFORM_HELD_FILE_H
#define TVL_PLATFORM_HELD_FILE_H

#include "platform/files.h"

// A file is held by a byte-range lock of the open-file-description kind. The kernel drops it when the
// holder's last descriptor goes, in whatever way the process ends, also on network shares that carry such
// locks. Classic locks would vanish with any close() of the same file elsewhere in the process.
//
// Whoever asks whether a file is held tries to lock it for a moment. So that two askers don't take each other
// for a holder, such a try locks a length of its own that nobody else uses, and is waited out.
//
// A lock belongs to the open file, which a forked child shares. So in a child every held descriptor is made
// one of /dev/null, which keeps its number taken: the parent's holds end with the parent, whatever its
// children do.

namespace tvl {

// Takes the hold on the whole file for the open file behind `file`. False if somebody else has it, or the
// file system has no locks. End it with ReleaseFile before the handle is closed.
[[nodiscard]] bool HoldFile(HANDLE file);

// Gives the hold up.
void ReleaseFile(HANDLE file);

// True if another open file holds any byte of the file behind `descriptor`, which must be open for writing.
[[nodiscard]] bool IsHeld(int descriptor);

// The same question about a file by its name, which changes nothing. A missing file is not held; one that
// can't be opened to ask is.
[[nodiscard]] bool IsFileHeld(const char* path);

// Calls `action` while the file behind `descriptor` is locked by a try, so that nobody takes a hold on it
// meanwhile. False, and `action` is not called, if somebody holds it or that can't be told.
[[nodiscard]] bool WhileUnheld(int descriptor, void (*action)(void* argument), void* argument);

// True if `path` names the very file that is open behind `file`: another may have taken its place since it
// was opened.
[[nodiscard]] bool StillNames(const char* path, HANDLE file);

// Gives a file the read and write bits of its folder's mode, whatever the umask: what clients share must be
// open to all whom the folder is open to. A refusal, which means that the file is another user's, is passed
// over.
void ShareLikeFolder(const char* path, HANDLE file);

}  // namespace tvl

#endif
