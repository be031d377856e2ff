#include "engine/posix/kept_journal.h"

#include <utility>

#include "host/fork_guard.h"

namespace tvl::engine {

void KeptJournal::NoteSeen(const struct stat* status) {
  was_empty_ = status == nullptr || status->st_size == 0;
  is_seen_ = status != nullptr && Is(*status) && (was_empty_ || cached_ == Cached::kNever);
  if (!is_seen_) Drop();
}

bool KeptJournal::DropDeleted(const struct stat& status) {
  if (descriptor_ < 0 || status.st_nlink > 0) return false;
  Drop();
  return true;
}

void KeptJournal::Keep(int descriptor, const FileIdentity& id, Cached cached) {
  Drop();
  descriptor_ = descriptor;
  id_ = id;
  cached_ = cached;
  is_seen_ = true;
}

void KeptJournal::Drop() {
  if (descriptor_ >= 0) ForkGuard::Close(std::exchange(descriptor_, -1));
}

}  // namespace tvl::engine
