#ifndef TVL_PLATFORM_POSIX_RETRY_H
#define TVL_PLATFORM_POSIX_RETRY_H

#include <cerrno>

#include "platform/common/retry.h"

namespace tvl {

// A file that another computer replaces can be inaccessible for a moment. On NFS a call then fails with
// ESTALE; on SMB also with EACCES, which elsewhere means that access is denied.

inline bool IsStale(int problem) {
  return problem == ESTALE;
}
inline bool IsStaleOrDenied(int problem) {
  return problem == ESTALE || problem == EACCES;
}

// On SMB, opening a name that another computer has assigned to a new file can fail with EINVAL, because this
// computer requests the lease that it had on the old file.
inline bool IsStaleOrReplaced(int problem) {
  return problem == ESTALE || problem == EINVAL;
}

// On SMB a file that a program of this computer has open cannot be replaced until it is closed.
inline bool IsRefusedRename(int problem) {
  return problem == EACCES || problem == EBUSY || problem == ETXTBSY;
}

}  // namespace tvl

#endif
