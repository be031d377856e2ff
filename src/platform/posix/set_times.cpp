#include "platform/posix/set_times.h"

#include <sys/stat.h>

#include <cerrno>

#include "host/system_calls.h"

namespace tvl {
namespace {

timespec SystemTime(const FILETIME& time) {
  return {static_cast<time_t>(time.seconds), time.nanoseconds};
}

}  // namespace

int SetTimesOf(int file, const NewTimes& times) {
  const timespec accessed = times.accessed ? SystemTime(*times.accessed) : timespec{0, UTIME_OMIT};
  const timespec both[2] = {accessed, SystemTime(times.written)};
  return System().futimens(file, both) == 0 ? 0 : errno;
}

}  // namespace tvl
