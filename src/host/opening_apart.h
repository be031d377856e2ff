#ifndef TVL_HOST_OPENING_APART_H
#define TVL_HOST_OPENING_APART_H

#include <chrono>
#include <cstdint>
#include <optional>

#include "host/descriptor.h"
#include "host/local_turn.h"

namespace tvl {

// Makes the locks of a file that several processes of a computer open reliable on SMB. While this object
// exists, this process opens the file and locks it. Does nothing on other file systems.
//
// Linux lets opens of a file with the same flags share a handle of the server, even those of different
// processes. Locks belong to the handle: as soon as one process unlocks or closes the file, the server may
// drop the locks of another. Linux compares only the flags of the newest open. So this object opens the file
// with other flags first, and the next open gets a handle of its own.
//
// A computer that has a lease to write a file also keeps its locks to itself until another computer opens the
// file. If a process of its own opens the file at that moment, Linux may take the lease as still granted, and
// both computers lock the same range. So this object ends the lease, and keeps a byte locked: servers grant
// no lease to write a file that has locks.
class OpeningApart {
 public:
  // `access` is the access mode of the open to come. `byte` is a byte that nothing else locks.
  OpeningApart(const char* path, int access, std::int64_t byte, std::chrono::milliseconds limit);
  OpeningApart(const OpeningApart&) = delete;
  OpeningApart& operator=(const OpeningApart&) = delete;

  // Returns false if other processes opened files of the folder for longer than `limit`.
  [[nodiscard]] bool Has() const { return !turn_ || turn_->Has(); }

  // Returns whether the file is on SMB.
  [[nodiscard]] bool IsNeeded() const { return turn_.has_value(); }

 private:
  std::optional<LocalTurn> turn_;
  Descriptor other_;
};

}  // namespace tvl

#endif
