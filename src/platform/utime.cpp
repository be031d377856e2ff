#include "platform/utime.h"

#include <fcntl.h>

#include "platform/open_file.h"
#include "platform/system_calls.h"

int _utime64(const char* path, std::int64_t seconds) {
  const tvl::OpenFile file(path, O_RDONLY);
  if (!file.IsOpen()) return -1;
  const timespec time = {static_cast<time_t>(seconds), 0};
  const timespec both[2] = {time, time};
  if (tvl::System().futimens(file.Descriptor(), both) == 0) return 0;
  file.NoteFailure();
  return -1;
}
