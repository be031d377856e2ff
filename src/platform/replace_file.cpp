#include "platform/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/open_file.h"
#include "platform/retry.h"
#include "platform/system_calls.h"

namespace tvl {
namespace {

constexpr int kPatience = 10;  // seconds
constexpr int kTurns = 1000;   // a target may appear and disappear that often

// 0, or EEXIST if the name was taken in the meantime, or why not.
int RenameToNewName(const char* part, const char* target) {
  if (System().rename_noreplace(part, target) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system that cannot refuse by itself. Nothing was there a moment ago.
  return System().rename(part, target) == 0 ? 0 : errno;
}

// 0 if nobody holds the target, ENOENT if there is none, or why it cannot be replaced. It is closed again
// before the rename, because on SMB an open file is not renamed over.
int TryTarget(const char* target) {
  const OpenFile file(target, O_RDWR | O_NOFOLLOW);
  if (!file.IsOpen()) return LastErrorCode();
  return IsHeld(file.Descriptor()) ? EBUSY : 0;
}

int Replace(const char* part, const char* target, bool& exists) {
  for (int turn = 0; turn < kTurns; ++turn) {
    int problem = exists ? TryTarget(target) : ENOENT;
    if (problem != 0 && problem != ENOENT) return problem;
    const bool is_new = problem == ENOENT;
    problem = Retry(kPatience, IsRefusedRename, [&] {
      if (is_new) return RenameToNewName(part, target);
      return System().rename(part, target) == 0 ? 0 : errno;
    });
    if (!is_new || problem != EEXIST) return problem;
    exists = true;
  }
  return EBUSY;
}

}  // namespace

bool IsStillThere(const char* target) {
  const OpenFile file(target, O_RDWR | O_NOFOLLOW);
  if (file.IsOpen()) return true;
  if (LastErrorCode() == ENOENT || LastErrorCode() == ESTALE) return false;
  struct stat status = {};
  return System().lstat(target, &status) == 0;
}

bool ReplaceFile(const char* part, const char* target, bool exists) {
  const int problem = Replace(part, target, exists);
  if (problem == 0) return true;
  const bool lost = exists && !IsStillThere(target);
  if (!lost) System().unlink(part);
  NoteError(lost ? part : target, problem);
  return false;
}

}  // namespace tvl
