#include "engine/lock_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <new>
#include <vector>

namespace tvl::engine {
namespace {

struct Descriptors {
  std::mutex mutex;
  std::vector<int> open;
};

// Never destroyed, because calls may still arrive while the process exits.
Descriptors& All() {
  static Descriptors& all = *new Descriptors;
  return all;
}

}  // namespace

int OpenForLocks(const char* path, int flags, mode_t mode) {
  Descriptors& all = All();
  const std::lock_guard guard(all.mutex);
  try {
    all.open.reserve(all.open.size() + 1);
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return -1;
  }
  const int descriptor = open(path, flags | O_CLOEXEC, mode);
  if (descriptor >= 0) all.open.push_back(descriptor);
  return descriptor;
}

int CloseForLocks(int descriptor) {
  Descriptors& all = All();
  const std::lock_guard guard(all.mutex);
  std::erase(all.open, descriptor);
  return close(descriptor);
}

void SuspendLockDescriptors() {
  All().mutex.lock();
}

void ResumeLockDescriptors() {
  All().mutex.unlock();
}

void AbandonLockDescriptors() {
  Descriptors& all = All();
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int descriptor : all.open) {
    // Without a substitute the number may be reused, but the parent's lock must be released in any case.
    if (nothing < 0 || dup3(nothing, descriptor, O_CLOEXEC) < 0) close(descriptor);
  }
  if (nothing >= 0) close(nothing);
  all.open.clear();
}

}  // namespace tvl::engine
