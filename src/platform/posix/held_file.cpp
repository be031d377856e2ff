#include "platform/held_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>

#include "host/descriptor.h"
#include "host/file_identity.h"
#include "host/file_lock.h"
#include "host/fork_guard.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/descriptor_of.h"
#include "platform/posix/open_file.h"
#include "store/lock_ranges.h"

namespace tvl {
namespace {

// Returns 0, or why the file system refuses.
int TryRange(int descriptor, short type, const LockRange& range) {
  return TryLock(descriptor, type, range) ? 0 : errno;
}

// Finds the lock that conflicts with an exclusive lock on `range`; `l_type` is F_UNLCK if there is none any
// more. Returns false if the system does not answer.
bool FindBarrier(int descriptor, const LockRange& range, struct flock& found) {
  found = AsLock(F_WRLCK, range);
  return System().lock(descriptor, F_OFD_GETLK, &found) == 0;
}

// On SMB, a query does not report what it found.
bool IsHeldByEarlierRelease(int descriptor) {
  struct flock found = {};
  return !FindBarrier(descriptor, kBeyondTurn, found) || found.l_type != F_UNLCK;
}

// Returns true if a hold or a user of a table conflicts with a try, and false if that cannot be determined.
bool IsHoldInTheWay(int descriptor) {
  struct flock found = {};
  if (!FindBarrier(descriptor, kTryRange, found)) return false;
  return (found.l_type == F_WRLCK && found.l_start == kHoldRange.start) ||
         (found.l_type == F_RDLCK && found.l_start == kUseByte.start);
}

// Returns true for a try, also one by an earlier release. A try is not a hold.
bool IsTry(const struct flock& lock) {
  return lock.l_type == F_WRLCK && (lock.l_start == kTryRange.start || lock.l_start == kEarlierTry.start) &&
         lock.l_start + lock.l_len >= kTurnByte.start;
}

// Returns true if the lock that conflicts with `range` is gone or is a try by an earlier release. The caller
// has the turn.
bool IsBarredForAMoment(int descriptor, const LockRange& range) {
  struct flock found = {};
  if (!FindBarrier(descriptor, range, found)) return false;
  return found.l_type == F_UNLCK || (found.l_start == kEarlierTry.start && found.l_len == kEarlierTry.length);
}

// Waits for others in short sleeps, up to a second in total, because turns and tries last microseconds.
class Patience {
 public:
  // Returns false without sleeping when the time is over.
  [[nodiscard]] bool Pause() {
    if (Clock::now() >= end_) return false;
    std::this_thread::sleep_for(pause_);
    pause_ = std::min(pause_ + pause_ / 2, kLongestPause);
    return true;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::microseconds kFirstPause{30};
  static constexpr std::chrono::microseconds kLongestPause{5'000};

  Clock::time_point end_ = Clock::now() + std::chrono::seconds(1);
  std::chrono::microseconds pause_ = kFirstPause;
};

// These functions lock without waiting for a holder. They return 0, EBUSY if there is a holder, or why the
// file system refuses.

int TakeTurn(int descriptor, Patience& patience) {
  for (;;) {
    const int problem = TryRange(descriptor, F_WRLCK, kTurnByte);
    if (!IsRefusal(problem)) return problem;
    if (IsHeldByEarlierRelease(descriptor) || !patience.Pause()) return EBUSY;
  }
}

int LockHavingTurn(int descriptor, const LockRange& range, Patience& patience) {
  for (;;) {
    const int problem = TryRange(descriptor, F_WRLCK, range);
    if (!IsRefusal(problem)) return problem;
    if (!IsBarredForAMoment(descriptor, range) || !patience.Pause()) return EBUSY;
  }
}

// On success the caller has the turn too.
int LockWithTurn(int descriptor, const LockRange& range) {
  Patience patience;
  if (const int problem = TakeTurn(descriptor, patience)) return problem;
  const int problem = LockHavingTurn(descriptor, range, patience);
  if (problem != 0) Unlock(descriptor, kTurnByte);
  return problem;
}

int LockForHold(int descriptor) {
  const int problem = LockWithTurn(descriptor, kHoldRange);
  if (problem == 0) Unlock(descriptor, kTurnByte);
  return problem;
}

int LockForTry(int descriptor) {
  const int problem = TryRange(descriptor, F_WRLCK, kTryWithTurn);
  if (!IsRefusal(problem)) return problem;
  return IsHoldInTheWay(descriptor) ? EBUSY : LockWithTurn(descriptor, kTryRange);
}

// A try on a file that lasts as long as this object.
class Try {
 public:
  explicit Try(int descriptor) : tried_{descriptor, nullptr} {
    ForkGuard::Add(tried_);
    problem_ = LockForTry(descriptor);
  }
  Try(const Try&) = delete;
  Try& operator=(const Try&) = delete;
  ~Try() {
    if (problem_ == 0) Unlock(tried_.descriptor, kWholeFile);
    ForkGuard::Remove(tried_);
  }

  [[nodiscard]] int Problem() const { return problem_; }

 private:
  ForkGuard::Entry tried_;  // needs no memory
  int problem_ = 0;
};

}  // namespace

bool HoldFile(HANDLE file) {
  const int descriptor = DescriptorOf(file);
  const bool guarded = ForkGuard::Add(descriptor);
  const int problem = guarded ? LockForHold(descriptor) : ENOMEM;
  if (problem == 0) return true;
  ForkGuard::Remove(descriptor);
  NoteError(nullptr, problem);
  return false;
}

void ReleaseFile(HANDLE file) {
  const int descriptor = DescriptorOf(file);
  if (ForkGuard::Remove(descriptor)) Unlock(descriptor, kWholeFile);
}

bool WhileUnheld(HANDLE file, void (*action)(void* argument), void* argument) {
  const Try attempt(DescriptorOf(file));
  if (attempt.Problem() == 0) {
    action(argument);
    return true;
  }
  NoteError(nullptr, attempt.Problem());
  return false;
}

bool IsHeld(HANDLE file) {
  const int problem = Try(DescriptorOf(file)).Problem();
  return problem == EBUSY || problem == ENOLCK;  // the lock service did not answer, so there may be a holder
}

bool IsFileHeld(const char* path) {
  const OpenFile file(path, O_RDWR);
  return file.IsOpen() ? IsHeld(file.Descriptor()) : LastErrorCode() != ENOENT;
}

bool IsSeenHeld(const char* path) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW;
  const Descriptor file(System().open(HostPath(path).Text(), kFlags, 0));
  struct flock found = {};
  return file.IsOpen() && FindBarrier(file.Get(), kTryRange, found) && found.l_type != F_UNLCK &&
         !IsTry(found);
}

bool StillNames(const char* path, HANDLE file) {
  const std::optional<FileIdentity> opened = IdentityOf(DescriptorOf(file));
  return opened && CheckName(AT_FDCWD, HostPath(path).Text(), *opened) == 0;
}

void ShareLikeFolder(const char* path, HANDLE file) {
  struct stat status = {};
  if (System().stat(FolderOf(HostPath(path).Text()).c_str(), &status) != 0) return;
  System().fchmod(DescriptorOf(file), status.st_mode & 0666);
}

}  // namespace tvl
