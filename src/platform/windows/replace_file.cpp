#include "platform/windows/replace_file.h"

#include <cerrno>

#include "platform/common/retry.h"
#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/windows/native.h"

namespace tvl {
namespace {

constexpr int kPatience = 10;  // seconds
constexpr int kLookPatience = 1;
constexpr int kTurns = 1000;  // how often a target may appear and disappear

bool IsRefused(int problem) {
  return problem == EACCES || problem == EBUSY;
}

// Returns 0 if nobody holds the target, ENOENT if it does not exist, or why it cannot be replaced. Closes it
// before the rename, because not every file system replaces an open file. A target that another process
// replaces cannot be opened for a moment.
int TryTarget(const char* target) {
  bool held = false;
  const int problem = Retry(kLookPatience, IsRefused, [&] {
    native::Handle file = native::kNoHandle;
    const int failure = native::Open(target, {.writes = true, .opens_links = true}, &file);
    if (failure != 0) return failure;
    held = IsHeld(file);
    return native::Close(file);
  });
  return held ? EBUSY : problem;
}

int Replace(const char* part, const char* target) {
  for (int turn = 0; turn < kTurns; ++turn) {
    const int found = TryTarget(target);
    if (found != 0 && found != ENOENT) return found;
    if (found == 0) return RenamePart(part, target);
    const int problem = native::Rename(part, target, false);
    if (problem != EEXIST) return problem;
  }
  return EBUSY;
}

}  // namespace

int RenamePart(const char* part, const char* target) {
  return Retry(kPatience, IsRefused, [&] { return native::Rename(part, target, true); });
}

Replacement ReplaceFile(const char* part, const char* target, bool must_be_new) {
  const int problem = must_be_new ? native::Rename(part, target, false) : Replace(part, target);
  if (problem == 0) return Replacement::kDone;
  const bool lost = !must_be_new && !NameExists(target) && NameExists(part);
  if (!lost) native::Delete(part);
  NoteError(lost ? part : target, problem);
  if (problem == ENOENT && !lost) return Replacement::kPartLost;
  return problem == EEXIST ? Replacement::kAppeared : Replacement::kFailed;
}

}  // namespace tvl
