#ifndef TVL_ENGINE_SQLITE_REGION_H
#define TVL_ENGINE_SQLITE_REGION_H

#include <chrono>
#include <memory>

#include "engine/patience.h"
#include "engine/sqlite/gathered_writes.h"
#include "engine/sqlite/held_journal.h"
#include "engine/sqlite/known_change.h"
#include "engine/sqlite/seen_files.h"
#include "engine/system.h"
#include "store/lock_ranges.h"

namespace tvl::engine {

// Locks the bytes of a table's file that SQLite uses for its locks, in one step.
//
// SQLite first shares these bytes and then locks more of them step by step. In this way two processes can
// block each other, and SMB refuses to convert a shared lock to an exclusive one. So a transaction locks
// everything that it will need in one call before it begins, and SQLite's own steps do not change locks on
// the disk. Programs that use plain SQLite and this module still exclude each other, because they lock the
// same bytes.
//
// A writer locks all of the bytes. A reader shares one of those that SQLite's readers share, because with a
// lock on the byte that marks a writer, a plain SQLite would mistake the journal of a killed writer for that
// of a live one. It is a random one: if two readers of a computer share the same bytes, and the first of them
// unlocks them first, Samba 4.17 keeps the lock of the first on the server's file until it locks them again.
//
// The locks belong to SQLite's own open file: if a network file system loses them, writes to the file fail
// too.
class Region {
 public:
  enum class Strength { kNone, kShared, kExclusive };

  // `file` is SQLite's own open file.
  void Attach(FileNumber file, Access access);

  // Waits first for the gate byte and then, holding that, for the region, so that a stream of readers cannot
  // starve a writer. To save round trips, a reader that has just passed the gate may bypass it a few times,
  // and a writer that has met nobody for a while locks both in one call and keeps both, a few times in a row.
  // The region must not be held. Returns false and notes an error if others hold it for too long.
  [[nodiscard]] bool Take(Strength wanted, Patience& patience);
  void Release();

  // Returns whether SQLite has tried to write since Take although the lock is only shared: it found the
  // journal of a killed writer, which must be rolled back first.
  [[nodiscard]] bool WasTooWeak() const { return was_too_weak_; }

  // Records that it is unknown whether a killed writer left a journal. SQLite would assume that there is
  // none, so the transaction must fail.
  void NoteUnseenJournal() { has_unseen_journal_ = true; }
  [[nodiscard]] bool HasUnseenJournal() const { return has_unseen_journal_; }

  // Returns whether the locks that are held cover a lock that SQLite requests on `file`.
  [[nodiscard]] bool Covers(FileNumber file, LockKind kind);

  [[nodiscard]] FileNumber File() const { return file_; }
  [[nodiscard]] Strength Held() const { return held_; }

  // What the system calls that SQLite makes remember of the connection's files.
  [[nodiscard]] SeenFiles& Seen() { return *seen_; }

  [[nodiscard]] KnownChange& Change() { return change_; }

  // What SQLite has written and the connection's files do not contain yet.
  [[nodiscard]] HeldJournal& Journal() { return journal_; }
  [[nodiscard]] GatheredWrites& Gathered() { return gathered_; }

 private:
  [[nodiscard]] const LockRange& RangeOf(Strength strength) const;
  [[nodiscard]] bool PassGate(Strength wanted, Patience& patience);
  [[nodiscard]] bool LockPatiently(LockKind kind, const LockRange& range, Patience& patience);
  [[nodiscard]] bool TakeWithGate();
  [[nodiscard]] bool MayBypassGate() const;
  [[nodiscard]] bool BypassGate();

  FileNumber file_ = kNoFile;
  LockRange shared_byte_ = kSqliteSharedBytes;
  bool can_write_ = false;
  bool has_unseen_journal_ = false;
  std::unique_ptr<SeenFiles> seen_ = SeenFiles::Create();
  KnownChange change_;
  HeldJournal journal_;
  GatheredWrites gathered_;
  std::chrono::steady_clock::time_point met_others_;
  bool has_gate_ = false;
  int kept_gates_ = 0;
  std::chrono::steady_clock::time_point passed_gate_;
  int bypasses_ = 0;
  Strength held_ = Strength::kNone;
  bool was_too_weak_ = false;
};

// Holds the region for the duration of one call.
class RegionHold {
 public:
  RegionHold(Region& region, Region::Strength strength, Patience& patience)
      : region_(region), has_(region.Take(strength, patience)) {}
  RegionHold(const RegionHold&) = delete;
  RegionHold& operator=(const RegionHold&) = delete;
  ~RegionHold() {
    if (has_) region_.Release();
  }

  [[nodiscard]] bool Has() const { return has_; }

  // Keeps the region held after this object is destroyed, until the next Release.
  void Keep() { has_ = false; }

 private:
  Region& region_;
  bool has_;
};

}  // namespace tvl::engine

#endif
