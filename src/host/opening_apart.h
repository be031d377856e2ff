#ifndef TVL_HOST_OPENING_APART_H
#define TVL_HOST_OPENING_APART_H

#include <chrono>
#include <cstdint>
#include <optional>

#include "host/handle_apart.h"
#include "host/local_turn.h"

namespace tvl {

// Makes the locks of a file that several processes of a computer open reliable on SMB (handle_apart.h). While
// this object exists, this process opens the file and locks it, and no other process of the computer does so.
// Does nothing on other file systems.
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
  std::optional<HandleApart> apart_;
};

}  // namespace tvl

#endif
