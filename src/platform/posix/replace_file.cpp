#include "platform/posix/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/system_calls.h"
#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/posix/open_file.h"
#include "platform/posix/retry.h"

namespace tvl {
namespace {

constexpr int kPatience = 10;  // seconds
constexpr int kTurns = 1000;   // how often a target may appear and disappear

// Returns 0, EEXIST if the name was taken meanwhile, or another errno value.
int RenameToNewName(const char* part, const char* target) {
  if (System().renameat_noreplace(AT_FDCWD, part, AT_FDCWD, target) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The file system cannot refuse by itself, but the name did not exist a moment ago.
  return System().rename(part, target) == 0 ? 0 : errno;
}

// Returns 0 if nobody holds the target, ENOENT if it does not exist, or why it cannot be replaced. Closes it
// before the rename, because on SMB an open file cannot be replaced.
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
