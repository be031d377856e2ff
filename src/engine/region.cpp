#include "engine/region.h"

#include <unistd.h>

#include <cerrno>

#include "engine/file_lock.h"
#include "engine/last_error.h"
#include "host/system_calls.h"

namespace tvl::engine {
namespace {

// How often, and for how long, a reader that has passed the gate may bypass it. A writer that holds the gate
// never waits longer than that.
constexpr int kMostBypasses = 3;
constexpr std::chrono::milliseconds kPassLasts{20};

const LockRange& RangeOf(Region::Strength strength) {
  return strength == Region::Strength::kExclusive ? kSqliteRegion : kSqliteSharedBytes;
}

short TypeOf(Region::Strength strength) {
  return strength == Region::Strength::kExclusive ? F_WRLCK : F_RDLCK;
}

// Tries to lock until it succeeds. Returns false and notes an error if the time is over or locking fails.
bool LockPatiently(int descriptor, short type, const LockRange& range, Patience& patience) {
  while (!TryLock(descriptor, type, range)) {
    if (!IsRefusal(errno)) {
      NoteSystemError("the table cannot be locked");
      return false;
    }
    if (!patience.Pause()) {
      NoteError("another process uses the table", Problem::kBusy);
      return false;
    }
  }
  return true;
}

}  // namespace

void Region::Attach(int descriptor) {
  descriptor_ = descriptor;
  canWrite_ = (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDWR;
}

// Readers lock the gate exclusively too, so that a writer has the same chance as each of them. A read-only
// descriptor can only share it.
bool Region::PassGate(Strength wanted, Patience& patience) {
  if (!LockPatiently(descriptor_, canWrite_ ? F_WRLCK : F_RDLCK, kGateByte, patience)) return false;
  const bool taken = LockPatiently(descriptor_, TypeOf(wanted), RangeOf(wanted), patience);
  Unlock(descriptor_, kGateByte);
  passedGate_ = std::chrono::steady_clock::now();
  bypasses_ = 0;
  return taken;
}

bool Region::MayBypassGate(Strength wanted) const {
  return wanted == Strength::kShared && bypasses_ < kMostBypasses &&
         std::chrono::steady_clock::now() < passedGate_ + kPassLasts;
}

bool Region::Take(Strength wanted, Patience& patience) {
  wasTooWeak_ = false;
  hasUnseenJournal_ = false;
  const bool isIn =
      MayBypassGate(wanted) && TryLock(descriptor_, TypeOf(wanted), RangeOf(wanted)) && ++bypasses_ > 0;
  if (!isIn && !PassGate(wanted, patience)) return false;
  held_ = wanted;
  return true;
}

void Region::Release() {
  Unlock(descriptor_, kSqliteRegion);
  held_ = Strength::kNone;
}

bool Region::Allows(short type) {
  if (type == F_UNLCK) return true;
  if (hasUnseenJournal_) return false;
  if (held_ == Strength::kExclusive) return true;
  if (type == F_RDLCK) return held_ == Strength::kShared;
  wasTooWeak_ = wasTooWeak_ || held_ == Strength::kShared;
  return false;
}

int Region::OnRequest(int descriptor, int command, struct flock& lock) {
  if (descriptor == descriptor_ && command == F_SETLK && Allows(lock.l_type)) return 0;
  if (descriptor == descriptor_ && command == F_GETLK) {
    // Another program may be writing while we only read.
    if (held_ != Strength::kExclusive) return System().lock(descriptor, F_OFD_GETLK, &lock);
    lock.l_type = F_UNLCK;
    return 0;
  }
  errno = EAGAIN;
  return -1;
}

}  // namespace tvl::engine
