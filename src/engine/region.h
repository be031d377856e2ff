#ifndef TVL_ENGINE_REGION_H
#define TVL_ENGINE_REGION_H

#include <fcntl.h>

#include <chrono>

#include "engine/patience.h"
#include "engine/table_file.h"

namespace tvl::engine {

// The bytes of a table's file on which SQLite takes its locks, locked as one.
//
// SQLite shares these bytes first and claims more of them step by step. Two processes can bar each other's
// way like that, and SMB refuses to turn a shared lock into an exclusive one. So a transaction takes all that
// it will need in one call before it begins, and SQLite's own steps change nothing on the disk. Programs that
// use plain SQLite are excluded all the same, and exclude us: the bytes are those that they lock.
//
// A writer takes all of the bytes. A reader shares those that SQLite's readers share and no others, because a
// lock on the byte that marks a writer would make a plain SQLite take the journal of a killed writer for that
// of a live one.
//
// The locks belong to SQLite's own descriptor: where a network file system loses them, the descriptor's
// writes fail too.
class Region {
 public:
  enum class Strength { kNone, kShared, kExclusive };

  void Attach(int descriptor);

  // Waits for others, first at the gate byte and then, holding that, for the region: so readers that come and
  // go cannot starve a writer. To save round trips, a reader that has just passed the gate may go straight to
  // the region a few times. The region must not be held. False, and a noted error, if others keep it.
  [[nodiscard]] bool Take(Strength wanted, Patience& patience);
  void Release();

  // Whether SQLite, since Take, wanted to write with a shared lock only: it has found the journal of a killed
  // writer, which must be rolled back first.
  [[nodiscard]] bool WasTooWeak() const { return wasTooWeak_; }

  // Says that it could not be seen whether a killed writer has left a journal. SQLite would take that for
  // "no"; the transaction must fail.
  void NoteUnseenJournal() { hasUnseenJournal_ = true; }
  [[nodiscard]] bool HasUnseenJournal() const { return hasUnseenJournal_; }

  // Whether the folder was synced, through this object, since the journal of this inode is in it. If not, the
  // caller syncs it now.
  [[nodiscard]] bool IsJournalSynced() const { return journal_ == syncedJournal_; }
  void NoteJournal(const FileId& journal) { journal_ = journal; }
  void NoteSyncedFolder() { syncedJournal_ = journal_; }

  // Answers a lock request of SQLite's in place of fcntl.
  [[nodiscard]] int OnRequest(int descriptor, int command, struct flock& lock);

 private:
  [[nodiscard]] bool PassGate(Strength wanted, Patience& patience);
  [[nodiscard]] bool Allows(short type);

  [[nodiscard]] bool MayBypassGate(Strength wanted) const;

  int descriptor_ = -1;
  bool canWrite_ = false;
  bool hasUnseenJournal_ = false;
  FileId journal_;
  FileId syncedJournal_;
  std::chrono::steady_clock::time_point passedGate_;
  int bypasses_ = 0;
  Strength held_ = Strength::kNone;
  bool wasTooWeak_ = false;
};

// The region for the duration of one call.
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

  // Leaves the region held when this object ends, until the next Release.
  void Keep() { has_ = false; }

 private:
  Region& region_;
  bool has_;
};

}  // namespace tvl::engine

#endif
