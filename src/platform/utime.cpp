#include "platform/utime.h"

#include <cerrno>

#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"

int _utime64(const char* path, std::int64_t seconds) {
  const timespec time = {static_cast<time_t>(seconds), 0};
  const timespec both[2] = {time, time};
  if (tvl::System().utimensat(AT_FDCWD, tvl::HostPath(path).Text(), both, 0) == 0) return 0;
  tvl::NoteError(path, errno);
  return -1;
}
