#ifndef TVL_PLATFORM_POSIX_SET_TIMES_H
#define TVL_PLATFORM_POSIX_SET_TIMES_H

#include "platform/transfer_group.h"

namespace tvl {

// Sets the times of an open file. Returns 0 or an errno value.
[[nodiscard]] int SetTimesOf(int file, const NewTimes& times);

}  // namespace tvl

#endif
