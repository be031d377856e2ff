#ifndef TVL_ENGINE_REGION_H
#define TVL_ENGINE_REGION_H

#include <fcntl.h>

#include "engine/patience.h"

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

  void Attach(int descriptor) { descriptor_ = descriptor; }

  // Waits for others, first at the gate byte and then, holding that, for the region: so readers that come and
  // go cannot starve a writer. The region must not be held. False, and a noted error, if others keep it.
  [[nodiscard]] bool Take(Strength wanted, Patience& patience);
  void Release();

  // Whether SQLite, since Take, wanted to write with a shared lock only: it has found the journal of a killed
  // writer, which must be rolled back first.
  [[nodiscard]] bool WasTooWeak() const { return wasTooWeak_; }

  // Answers a lock request of SQLite's in place of fcntl.
  [[nodiscard]] int OnRequest(int descriptor, int command, struct flock& lock);

 private:
  [[nodiscard]] bool PassGate(Strength wanted, Patience& patience);
  [[nodiscard]] bool Allows(short type);

  int descriptor_ = -1;
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
