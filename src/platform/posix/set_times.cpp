#include "platform/posix/set_times.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>

#include "host/system_calls.h"

namespace tvl {
namespace {

timespec SystemTime(const FILETIME& time) {
  return {static_cast<time_t>(time.seconds), time.nanoseconds};
}

std::array<timespec, 2> SystemTimes(const NewTimes& times) {
  const timespec accessed = times.accessed ? SystemTime(*times.accessed) : timespec{0, UTIME_OMIT};
  return {accessed, SystemTime(times.written)};
}

}  // namespace

int SetTimesOf(int file, const NewTimes& times) {
  return System().futimens(file, SystemTimes(times).data()) == 0 ? 0 : errno;
}

int SetTimesAt(const char* path, const NewTimes& times) {
  const bool done = System().utimensat(AT_FDCWD, path, SystemTimes(times).data(), AT_SYMLINK_NOFOLLOW) == 0;
  return done ? 0 : errno;
}

}  // namespace tvl
