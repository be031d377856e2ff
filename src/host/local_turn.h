#ifndef TVL_HOST_LOCAL_TURN_H
#define TVL_HOST_LOCAL_TURN_H

#include <chrono>

#include "host/fork_guard.h"

namespace tvl {

// Lets the processes of this computer open the files of a folder one after the other.
//
// Needed for files that several processes open often on an SMB server. If the server must first take a lease
// on a file from another computer, it lets an open wait, and some servers never answer a second open of the
// same computer that waits at the same time. OpenApart needs a turn as well.
//
// The turn is a lock on the folder itself, which file servers do not see: only processes that may list the
// folder can delay others with it, and they could as well lock its files. Waits for `limit` at most. Turns of
// one process must not nest.
class LocalTurn {
 public:
  explicit LocalTurn(const char* path, std::chrono::milliseconds limit = std::chrono::seconds(1));
  LocalTurn(const LocalTurn&) = delete;
  LocalTurn& operator=(const LocalTurn&) = delete;
  ~LocalTurn();

  // Returns false if others kept the turn too long. A caller that only waits for another process may
  // continue: that process may itself be waiting for a server that does not answer. Where folders cannot be
  // locked, or not by this process, there are no turns to wait for.
  [[nodiscard]] bool Has() const { return has_; }

 private:
  ForkGuard::Entry folder_;
  bool has_ = true;
};

}  // namespace tvl

#endif
