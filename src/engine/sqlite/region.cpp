#include "engine/sqlite/region.h"

#include <unistd.h>

#include <cerrno>

#include "engine/last_error.h"
#include "host/file_lock.h"
#include "host/system_calls.h"

namespace tvl::engine {
namespace {

constexpr LockRange kRegionWithGate = {kSqliteRegion.start, kSqliteRegion.length + kGateByte.length};

// How often, and for how long, a reader that has passed the gate may bypass it. A writer that holds the gate
// never waits longer than that.
constexpr int kMostBypasses = 3;
constexpr std::chrono::milliseconds kPassLasts{20};

// How often in a row a writer keeps the gate, which nobody can pass meanwhile, and for how long it releases
// the gate early after it has met others.
constexpr int kMostKeptGates = 3;
constexpr std::chrono::seconds kMeetingLasts{10};

const LockRange& RangeOf(Region::Strength strength) {
  return strength == Region::Strength::kExclusive ? kSqliteRegion : kSqliteSharedBytes;
}

short TypeOf(Region::Strength strength) {
  return strength == Region::Strength::kExclusive ? F_WRLCK : F_RDLCK;
}

}  // namespace

// NFS 4 creates and frees the state of a descriptor's locks with its first and last lock. The use byte, which
// the table's file shares already, preserves that state between transactions.
void Region::Attach(int descriptor) {
  descriptor_ = descriptor;
  canWrite_ = (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDWR;
  static_cast<void>(TryLock(descriptor, F_RDLCK, kUseByte));
}

// Tries to lock until it succeeds. Returns false and notes an error if the time is over or locking fails.
bool Region::LockPatiently(short type, const LockRange& range, Patience& patience) {
  while (!TryLock(descriptor_, type, range)) {
    if (!IsRefusal(errno)) {
      NoteSystemError("the table cannot be locked");
      return false;
    }
    metOthers_ = std::chrono::steady_clock::now();
    if (!patience.Pause()) {
      NoteError("another process uses the table", Problem::kBusy);
      return false;
    }
  }
  return true;
}

// For a writer. The gate cannot be released alone, because SMB cannot release a part of a lock. Others that
// wait pass the gate in the next transaction that does not keep it; that transaction meets them, and from
// then on they get their turns.
bool Region::TakeWithGate() {
  const auto now = std::chrono::steady_clock::now();
  if (keptGates_ == kMostKeptGates || metOthers_ + kMeetingLasts > now) {
    keptGates_ = 0;
    return false;
  }
  hasGate_ = TryLock(descriptor_, F_WRLCK, kRegionWithGate);
  if (hasGate_)
    ++keptGates_;
  else
    metOthers_ = now;
  return hasGate_;
}

// Readers lock the gate exclusively too, so that a writer has the same chance as each of them. A read-only
// descriptor can only share it.
bool Region::PassGate(Strength wanted, Patience& patience) {
  if (!LockPatiently(canWrite_ ? F_WRLCK : F_RDLCK, kGateByte, patience)) return false;
  const bool taken = LockPatiently(TypeOf(wanted), RangeOf(wanted), patience);
  Unlock(descriptor_, kGateByte);
  passedGate_ = std::chrono::steady_clock::now();
  bypasses_ = 0;
  return taken;
}

// For a reader.
bool Region::BypassGate() {
  const bool mayBypass =
      bypasses_ < kMostBypasses && std::chrono::steady_clock::now() < passedGate_ + kPassLasts;
  return mayBypass && TryLock(descriptor_, F_RDLCK, kSqliteSharedBytes) && ++bypasses_ > 0;
}

bool Region::Take(Strength wanted, Patience& patience) {
  wasTooWeak_ = false;
  hasUnseenJournal_ = false;
  keptJournal_.Forget();
  const bool isIn = wanted == Strength::kExclusive ? TakeWithGate() : BypassGate();
  if (!isIn && !PassGate(wanted, patience)) return false;
  held_ = wanted;
  return true;
}

void Region::Release() {
  Unlock(descriptor_, hasGate_ ? kRegionWithGate : kSqliteRegion);
  hasGate_ = false;
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
    lock.l_pid = 0;  // SQLite leaves it as it is, and the kernel requires 0 for this kind of lock
    // Another program may be writing while we only read.
    if (held_ != Strength::kExclusive) return System().lock(descriptor, F_OFD_GETLK, &lock);
    lock.l_type = F_UNLCK;
    return 0;
  }
  errno = EAGAIN;
  return -1;
}

}  // namespace tvl::engine
