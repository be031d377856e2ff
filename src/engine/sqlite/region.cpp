#include "engine/sqlite/region.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstdint>

#include "engine/last_error.h"

namespace tvl::engine {
namespace {

constexpr LockRange kRegionWithGate = {kSqliteRegion.start, kSqliteRegion.length + kGateByte.length};

// How often, and for how long, a reader that has passed the gate may bypass it. A writer that holds the gate
// never waits longer than that.
constexpr int kMostBypasses = 3;
constexpr std::chrono::milliseconds kPassLasts{20};

// For how long a reader that has met nobody for a while may bypass the gate, as often as it likes.
constexpr std::chrono::milliseconds kPassOfLonelyLasts{400};

// How often in a row a writer keeps the gate, which nobody can pass meanwhile, and for how long it releases
// the gate early after it has met others.
constexpr int kMostKeptGates = 3;
constexpr std::chrono::seconds kMeetingLasts{10};

// Returns a byte that readers share.
LockRange ChooseSharedByte() {
  std::uint32_t number = 0;
  sqlite3_randomness(sizeof number, &number);
  return {kSqliteSharedBytes.start + number % kSqliteSharedBytes.length, 1};
}

LockKind KindOf(Region::Strength strength) {
  return strength == Region::Strength::kExclusive ? LockKind::kExclusive : LockKind::kShared;
}

}  // namespace

// NFS 4 creates and frees the state of an open file's locks with its first and last lock. The use byte, which
// the table's file shares already, preserves that state between transactions.
void Region::Attach(FileNumber file, Access access) {
  file_ = file;
  shared_byte_ = ChooseSharedByte();
  can_write_ = access == Access::kReadWrite;
  static_cast<void>(TryLock(file, LockKind::kShared, kUseByte));
}

// Tries to lock until it succeeds. Returns false and notes an error if the time is over or locking fails.
bool Region::LockPatiently(LockKind kind, const LockRange& range, Patience& patience) {
  while (!TryLock(file_, kind, range)) {
    if (!IsRefusal(errno)) {
      NoteSystemError("the table cannot be locked");
      return false;
    }
    met_others_ = std::chrono::steady_clock::now();
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
  if (kept_gates_ == kMostKeptGates || met_others_ + kMeetingLasts > now) {
    kept_gates_ = 0;
    return false;
  }
  has_gate_ = TryLock(file_, LockKind::kExclusive, kRegionWithGate);
  if (has_gate_)
    ++kept_gates_;
  else
    met_others_ = now;
  return has_gate_;
}

// Readers lock the gate exclusively too, so that a writer has the same chance as each of them. A file that is
// open for reading can only share it.
bool Region::PassGate(Strength wanted, Patience& patience) {
  if (!LockPatiently(can_write_ ? LockKind::kExclusive : LockKind::kShared, kGateByte, patience))
    return false;
  const bool taken = LockPatiently(KindOf(wanted), RangeOf(wanted), patience);
  Unlock(file_, kGateByte);
  passed_gate_ = std::chrono::steady_clock::now();
  bypasses_ = 0;
  return taken;
}

bool Region::MayBypassGate() const {
  const auto now = std::chrono::steady_clock::now();
  if (met_others_ + kMeetingLasts < now) return now < passed_gate_ + kPassOfLonelyLasts;
  return bypasses_ < kMostBypasses && now < passed_gate_ + kPassLasts;
}

// For a reader.
bool Region::BypassGate() {
  return MayBypassGate() && TryLock(file_, LockKind::kShared, shared_byte_) && ++bypasses_ > 0;
}

const LockRange& Region::RangeOf(Strength strength) const {
  return strength == Strength::kExclusive ? kSqliteRegion : shared_byte_;
}

bool Region::Take(Strength wanted, Patience& patience) {
  was_too_weak_ = false;
  has_unseen_journal_ = false;
  seen_->Forget();
  change_.Forget();
  gathered_.Clear();
  const bool is_in = wanted == Strength::kExclusive ? TakeWithGate() : BypassGate();
  if (!is_in && !PassGate(wanted, patience)) return false;
  held_ = wanted;
  return true;
}

void Region::Release() {
  Unlock(file_, has_gate_ ? kRegionWithGate : RangeOf(held_));
  has_gate_ = false;
  held_ = Strength::kNone;
}

bool Region::Covers(FileNumber file, LockKind kind) {
  if (file != file_ || has_unseen_journal_ || held_ == Strength::kNone) return false;
  if (held_ == Strength::kExclusive || kind == LockKind::kShared) return true;
  was_too_weak_ = true;
  return false;
}

}  // namespace tvl::engine
