#include "store/backup/part_lock.h"

#include <fcntl.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/system_calls.h"
#include "platform/held_file.h"

namespace tvl {

struct PartLock::State {
  std::string path;
  Descriptor file;
};

PartLock::PartLock(const std::string& path) : state_(std::make_unique<State>(State{path, {}})) {}

PartLock::~PartLock() {
  Release();
}

void PartLock::Release() {
  if (!state_->file.IsOpen()) return;
  System().unlink(state_->path.c_str());
  ReleaseFile(state_->file.Get());
  static_cast<void>(state_->file.Close());
}

int PartLock::Hold() {
  constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW;
  const char* path = state_->path.c_str();
  Descriptor& file = state_->file;
  file = Descriptor(System().open(path, kFlags | O_EXCL, 0600));
  was_left_ = !file.IsOpen() && errno == EEXIST;
  if (was_left_) file = Descriptor(System().open(path, kFlags, 0600));
  if (!file.IsOpen()) return errno;
  if (HoldFile(file.Get()) && StillNames(path, file.Get())) return 0;
  ReleaseFile(file.Get());
  static_cast<void>(file.Close());
  return EBUSY;
}

}  // namespace tvl
