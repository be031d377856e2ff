#include "store/backup/part_lock.h"

#include <cerrno>
#include <optional>

#include "platform/held_file.h"
#include "platform/windows/open_file.h"

namespace tvl {

struct PartLock::State {
  std::string path;
  std::optional<OpenFile> file;  // if it is held
};

PartLock::PartLock(const std::string& path) : state_(std::make_unique<State>(path)) {}

PartLock::~PartLock() {
  Release();
}

void PartLock::Release() {
  if (!state_->file) return;
  static_cast<void>(native::DeleteOpen(state_->file->Get()));
  ReleaseFile(state_->file->Get());
  state_->file.reset();
}

int PartLock::Hold() {
  const char* path = state_->path.c_str();
  std::optional<OpenFile>& file = state_->file;
  native::Opening opening = {
      .writes = true, .deletes = true, .opens_links = true, .creation = native::Creation::kOnlyNew};
  file.emplace(path, opening);
  was_left_ = file->Problem() == EEXIST;
  opening.creation = native::Creation::kIfMissing;
  if (was_left_) file.emplace(path, opening);
  int problem = file->Problem();
  if (problem == 0 && file->Status().is_link) problem = ELOOP;
  if (problem == 0 && HoldFile(file->Get())) {
    if (StillNames(path, file->Get())) return 0;
    ReleaseFile(file->Get());
  }
  file.reset();
  return problem != 0 ? problem : EBUSY;
}

}  // namespace tvl
