#include "platform/held_file.h"

#include <cerrno>

#include "platform/common/retry.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/open_file.h"
#include "store/lock_ranges.h"

// The system cannot report who has a lock. So a refusal is decided by the turn byte alone: a client that has
// the turn and is refused the range of a hold or a try has met a holder or the user of a table.

namespace tvl {
namespace {

constexpr int kPatience = 1;  // seconds

int Lock(HANDLE file, const LockRange& range) {
  return native::Lock(file, range.start, range.length);
}

void Unlock(HANDLE file, const LockRange& range) {
  native::Unlock(file, range.start, range.length);
}

bool IsBusy(int problem) {
  return problem == EBUSY;
}

// Returns 0, EBUSY if the range is locked, or why the file system refuses. Keeps the turn on success.
int LockWithTurn(HANDLE file, const LockRange& range) {
  if (const int problem = Retry(kPatience, IsBusy, [&] { return Lock(file, kTurnByte); })) return problem;
  const int problem = Lock(file, range);
  if (problem != 0) Unlock(file, kTurnByte);
  return problem;
}

// A try on a file that lasts as long as this object.
class Try {
 public:
  explicit Try(HANDLE file) : file_(file), problem_(LockWithTurn(file, kTryRange)) {}
  Try(const Try&) = delete;
  Try& operator=(const Try&) = delete;
  ~Try() {
    if (problem_ != 0) return;
    Unlock(file_, kTryRange);
    Unlock(file_, kTurnByte);
  }

  [[nodiscard]] int Problem() const { return problem_; }

 private:
  HANDLE file_;
  int problem_;
};

}  // namespace

bool HoldFile(HANDLE file) {
  const int problem = LockWithTurn(file, kHoldRange);
  if (problem == 0) {
    Unlock(file, kTurnByte);
    return true;
  }
  NoteError(nullptr, problem);
  return false;
}

void ReleaseFile(HANDLE file) {
  Unlock(file, kHoldRange);
}

bool WhileUnheld(HANDLE file, void (*action)(void* argument), void* argument) {
  const Try attempt(file);
  if (attempt.Problem() == 0) {
    action(argument);
    return true;
  }
  NoteError(nullptr, attempt.Problem());
  return false;
}

bool IsHeld(HANDLE file) {
  return IsBusy(Try(file).Problem());
}

bool IsFileHeld(const char* path) {
  const OpenFile file(path, {.writes = true});
  return file.IsOpen() ? IsHeld(file.Get()) : file.Problem() != ENOENT;
}

// Has to take the lock for a moment, for which the right to read is enough.
bool IsSeenHeld(const char* path) {
  const OpenFile file(path, {.opens_links = true});
  return file.IsOpen() && IsHeld(file.Get());
}

bool StillNames(const char* path, HANDLE file) {
  native::Status opened = {};
  native::Status named = {};
  return native::StatusOf(file, &opened) == 0 &&
         native::StatusOf(HostPath(path).Text(), false, &named) == 0 && named.IsSameFile(opened);
}

// A new file inherits the access list of its folder.
void ShareLikeFolder(const char* /*path*/, HANDLE /*file*/) {}

}  // namespace tvl
