#include "engine/turn.h"

#include "engine/last_error.h"

namespace tvl::engine {

bool TurnLock::Take(Patience& patience) {
  const std::thread::id self = std::this_thread::get_id();
  std::unique_lock lock(mutex_);
  const auto is_free = [&] { return depth_ == 0 || owner_ == self; };
  if (!is_free() && !free_.wait_until(lock, patience.End(), is_free)) {
    NoteError("another thread uses the table", Problem::kBusy);
    return false;
  }
  owner_ = self;
  ++depth_;
  return true;
}

void TurnLock::Release() {
  const std::lock_guard lock(mutex_);
  if (--depth_ == 0) free_.notify_one();
}

}  // namespace tvl::engine
