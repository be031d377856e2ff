#ifndef TVL_PLATFORM_WINDOWS_TIMES_H
#define TVL_PLATFORM_WINDOWS_TIMES_H

#include "platform/files.h"
#include "platform/windows/native.h"

namespace tvl {

[[nodiscard]] inline FILETIME ContractTime(const native::Time& time) {
  return {time.seconds, time.nanoseconds};
}

[[nodiscard]] inline native::Time NativeTime(const FILETIME& time) {
  return {time.seconds, time.nanoseconds};
}

}  // namespace tvl

#endif
