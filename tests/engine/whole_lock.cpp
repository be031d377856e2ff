#include <fcntl.h>
#include <unistd.h>

#include "engine/engine.h"

bool CanLockWhole(const string& path) {
  const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_len = off_t{1} << 62;
  const bool can = fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
  close(descriptor);
  return can;
}
