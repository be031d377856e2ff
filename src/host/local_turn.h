#ifndef TVL_HOST_LOCAL_TURN_H
#define TVL_HOST_LOCAL_TURN_H

#include "host/fork_guard.h"

namespace tvl {

// Lets the processes of this computer open a file one after the other.
//
// Needed for files that several computers open often. If an SMB server must first take a lease on the file
// from another computer, it lets an open wait; some servers never answer a second open of the same computer
// that waits at the same time.
//
// Waits for a second at most, and then lets the caller continue: another process may be waiting for a server
// that does not answer, and the turn is not needed for the contents to be right.
class LocalTurn {
 public:
  explicit LocalTurn(const char* path);
  LocalTurn(const LocalTurn&) = delete;
  LocalTurn& operator=(const LocalTurn&) = delete;
  ~LocalTurn();

 private:
  ForkGuard::Entry socket_;
};

}  // namespace tvl

#endif
