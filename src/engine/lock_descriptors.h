#ifndef TVL_ENGINE_LOCK_DESCRIPTORS_H
#define TVL_ENGINE_LOCK_DESCRIPTORS_H

#include <sys/types.h>

// The descriptors that carry this module's locks, SQLite's among them.
//
// Such a lock belongs to the open file and not to the process, so a forked child has it too. The child
// replaces all of these descriptors by /dev/null: it can then neither use nor prolong a lock of its parent,
// and code that still knows a number never meets another file behind it.

namespace tvl::engine {

// open() and close() with close-on-exec, noted and forgotten here.
[[nodiscard]] int OpenForLocks(const char* path, int flags, mode_t mode);
int CloseForLocks(int descriptor);

// Around a fork: nobody opens or closes meanwhile. The child calls Abandon before it resumes.
void SuspendLockDescriptors();
void ResumeLockDescriptors();
void AbandonLockDescriptors();

}  // namespace tvl::engine

#endif
