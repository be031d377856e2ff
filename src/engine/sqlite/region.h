#ifndef TVL_ENGINE_SQLITE_REGION_H
#define TVL_ENGINE_SQLITE_REGION_H

#include <fcntl.h>

#include <chrono>
#include <cstdint>
#include <utility>

#include "engine/patience.h"
#include "engine/sqlite/kept_journal.h"
#include "engine/table_file.h"
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
// A writer locks all of the bytes. A reader shares only those that SQLite's readers share, because with a
// lock on the byte that marks a writer, a plain SQLite would mistake the journal of a killed writer for that
// of a live one.
//
// The locks belong to SQLite's own descriptor: if a network file system loses them, writes to the descriptor
// fail too.
class Region {
 public:
  enum class Strength { kNone, kShared, kExclusive };

  // `descriptor` is SQLite's own.
  void Attach(int descriptor);

  // Waits first for the gate byte and then, holding that, for the region, so that a stream of readers cannot
  // starve a writer. To save round trips, a reader that has just passed the gate may bypass it a few times,
  // and a writer that has met nobody for a while locks both in one call and keeps both, a few times in a row.
  // The region must not be held. Returns false and notes an error if others hold it for too long.
  [[nodiscard]] bool Take(Strength wanted, Patience& patience);
  void Release();

  // Returns whether SQLite has tried to write since Take although the lock is only shared: it found the
  // journal of a killed writer, which must be rolled back first.
  [[nodiscard]] bool WasTooWeak() const { return wasTooWeak_; }

  // Records that it is unknown whether a killed writer left a journal. SQLite would assume that there is
  // none, so the transaction must fail.
  void NoteUnseenJournal() { hasUnseenJournal_ = true; }
  [[nodiscard]] bool HasUnseenJournal() const { return hasUnseenJournal_; }

  // Returns whether the folder was synced through this object since it contains the journal with this inode.
  // If not, the caller must sync it now.
  [[nodiscard]] bool IsJournalSynced() const { return journal_ == syncedJournal_; }
  void NoteJournal(const FileIdentity& journal) { journal_ = journal; }
  void NoteSyncedFolder() { syncedJournal_ = journal_; }

  // Records the number of pages that the header of the table states in this transaction. If it has changed,
  // this computer may have cached the size of the file from before.
  void NotePages(std::uint32_t pages) {
    sizeIsOld_ = pages != pages_;
    pages_ = pages;
  }
  // Returns whether the cached size of `descriptor` may be old, the first time that it is asked.
  [[nodiscard]] bool TakeOldSize(int descriptor) {
    return descriptor == descriptor_ && std::exchange(sizeIsOld_, false);
  }

  [[nodiscard]] KeptJournal& Journal() { return keptJournal_; }

  // Answers a lock request of SQLite instead of fcntl.
  [[nodiscard]] int OnRequest(int descriptor, int command, struct flock& lock);

 private:
  [[nodiscard]] bool PassGate(Strength wanted, Patience& patience);
  [[nodiscard]] bool LockPatiently(short type, const LockRange& range, Patience& patience);
  [[nodiscard]] bool TakeWithGate();
  [[nodiscard]] bool Allows(short type);
  [[nodiscard]] bool BypassGate();

  int descriptor_ = -1;
  bool canWrite_ = false;
  bool hasUnseenJournal_ = false;
  std::uint32_t pages_ = 0;
  bool sizeIsOld_ = false;
  FileIdentity journal_;
  FileIdentity syncedJournal_;
  KeptJournal keptJournal_;
  std::chrono::steady_clock::time_point metOthers_;
  bool hasGate_ = false;
  int keptGates_ = 0;
  std::chrono::steady_clock::time_point passedGate_;
  int bypasses_ = 0;
  Strength held_ = Strength::kNone;
  bool wasTooWeak_ = false;
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
