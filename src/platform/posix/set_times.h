#ifndef TVL_PLATFORM_POSIX_SET_TIMES_H
#define TVL_PLATFORM_POSIX_SET_TIMES_H

#include "platform/transfer_group.h"

namespace tvl {

// Sets the times of an open file. Returns 0 or an errno value.
[[nodiscard]] int SetTimesOf(int file, const NewTimes& times);

// The same for a file by its name, which must not be a link. An SMB client writes and syncs an open file
// before it sets the times, so for a file that was just closed this takes a request less.
[[nodiscard]] int SetTimesAt(const char* path, const NewTimes& times);

}  // namespace tvl

#endif
