#ifndef TVL_PLATFORM_COMMON_MOVE_FILE_H
#define TVL_PLATFORM_COMMON_MOVE_FILE_H

#include "platform/files.h"

namespace tvl {

// Each system implements these two. They return 0 or an errno value, EEXIST if the name `to` is taken.
[[nodiscard]] int MoveUnlessTaken(const char* from, const char* to);
// Moves a link or a folder by MoveUnlessTaken, a file by MoveUnheld.
[[nodiscard]] int MoveAny(const char* from, const char* to);

// Moves the open file `file` with the name `from`, unless another open file holds it.
[[nodiscard]] int MoveUnheld(const char* from, const char* to, HANDLE file);

}  // namespace tvl

#endif
