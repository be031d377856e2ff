#include "platform/file_times.h"

#include <fcntl.h>

#include <cerrno>

#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"

bool tvl::SetFileTimes(const char* path, std::int64_t seconds) {
  const timespec time = {static_cast<time_t>(seconds), 0};
  const timespec both[2] = {time, time};
  if (System().utimensat(AT_FDCWD, HostPath(path).Text(), both, 0) == 0) return true;
  NoteError(path, errno);
  return false;
}
