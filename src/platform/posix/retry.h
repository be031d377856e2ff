#ifndef TVL_PLATFORM_POSIX_RETRY_H
#define TVL_PLATFORM_POSIX_RETRY_H

#include <time.h>

#include <cerrno>

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

constexpr long kRetryPauseNanoseconds = 1'000'000;

// Calls `attempt`, which returns 0 or an errno value, until `passes` returns false for its result, but for at
// most `seconds`. Returns the last result.
template <typename Passes, typename Attempt>
[[nodiscard]] int Retry(int seconds, Passes passes, Attempt attempt) {
  timespec start = {};
  clock_gettime(CLOCK_MONOTONIC, &start);
  for (;;) {
    const int problem = attempt();
    if (!passes(problem)) return problem;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec - start.tv_sec - (now.tv_nsec < start.tv_nsec ? 1 : 0) >= seconds) return problem;
    const timespec pause = {0, kRetryPauseNanoseconds};
    nanosleep(&pause, nullptr);
  }
}

}  // namespace tvl

#endif
