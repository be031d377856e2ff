#ifndef TVL_PLATFORM_HELD_FILE_H
#define TVL_PLATFORM_HELD_FILE_H

#include "platform/files.h"

namespace tvl {

// A file is held by a byte-range lock of the open-file-description kind. The kernel drops it when the
// holder's last descriptor goes, in whatever way the process ends, also on network shares that carry such
// locks. Classic locks would vanish with any close() of the same file elsewhere in the process.
//
// Whoever asks whether a file is held tries to lock it for a moment. So that two askers don't take each other
// for a holder, such a try locks a length of its own that nobody else uses, and is waited out.

// Takes the hold on the whole file for the open file behind `file`. False if somebody else has it, or the
// file system has no locks.
[[nodiscard]] bool HoldFile(HANDLE file);

// Gives the hold up.
void ReleaseFile(HANDLE file);

// True if another open file holds any byte of the file behind `descriptor`, which must be open for writing.
[[nodiscard]] bool IsHeld(int descriptor);

}  // namespace tvl

#endif
