#ifndef TVL_HOST_HANDLE_APART_H
#define TVL_HOST_HANDLE_APART_H

#include <cstdint>

#include "host/descriptor.h"

namespace tvl {

// Opens a file on SMB so that the next open of this process gets a handle of its own and no lease to write.
//
// Linux lets opens of a file with the same flags share a handle of the server, even those of different
// processes. Locks belong to the handle: as soon as one process unlocks or closes the file, the server may
// drop the locks of another. Linux compares only the flags of the newest open. So this object opens the file
// with other flags first.
//
// A computer that has a lease to write a file also keeps its locks to itself until another computer opens the
// file. If a process of its own opens the file at that moment, Linux may take the lease as still granted, and
// both computers lock the same range. And if a server has to take back the lease of a computer that does not
// answer, Samba ends the connection of that computer after a few seconds, and releases all of its locks. So
// this object ends the lease, and keeps a byte locked: servers grant no lease to write a file that has locks.
class HandleApart {
 public:
  // `access` is the access mode of the open to come. `byte` is a byte that nothing else locks.
  HandleApart(const char* path, int access, std::int64_t byte);

  // Returns false if the file could not be opened; errno says why.
  [[nodiscard]] bool IsOpen() const { return file_.IsOpen(); }

 private:
  Descriptor file_;
};

}  // namespace tvl

#endif
