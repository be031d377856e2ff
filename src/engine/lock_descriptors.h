#ifndef TVL_ENGINE_LOCK_DESCRIPTORS_H
#define TVL_ENGINE_LOCK_DESCRIPTORS_H

#include <sys/types.h>

// The descriptors with the locks of this module, including those of SQLite.
//
// Such a lock belongs to the open file and not to the process, so a forked child has it too. The child
// replaces all of these descriptors by /dev/null. Then it can neither use nor prolong a lock of its parent,
// and code that still uses a number never gets another file.

namespace tvl::engine {

// open() and close() with close-on-exec, which also register and unregister the descriptor.
[[nodiscard]] int OpenForLocks(const char* path, int flags, mode_t mode);
int CloseForLocks(int descriptor);

// Called around a fork, so that nobody opens or closes meanwhile. The child calls Abandon before it resumes.
void SuspendLockDescriptors();
void ResumeLockDescriptors();
void AbandonLockDescriptors();

}  // namespace tvl::engine

#endif
