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
int RenameToNewName(const char* part, const char* target, bool looks) {
  if (System().renameat_noreplace(AT_FDCWD, part, AT_FDCWD, target) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The file system cannot refuse by itself, but the name did not exist a moment ago, or that is checked now.
  struct stat status = {};
  if (looks && (System().lstat(target, &status) == 0 || errno != ENOENT)) return EEXIST;
  return System().rename(part, target) == 0 ? 0 : errno;
}

int RenamePatientlyToNewName(const char* part, const char* target, bool looks) {
  return Retry(kPatience, IsRefusedRename, [&] { return RenameToNewName(part, target, looks); });
}

// Returns 0 if nobody holds the target, ENOENT if it does not exist, or why it cannot be replaced. Closes it
// before the rename, because on SMB an open file cannot be replaced.
int TryTarget(const char* target) {
  const OpenFile file(target, O_RDWR | O_NOFOLLOW);
  if (!file.IsOpen()) return LastErrorCode();
  return IsHeld(file.Descriptor()) ? EBUSY : 0;
}

int Rename(const char* part, const char* target) {
  return Retry(kPatience, IsRefusedRename, [&] { return System().rename(part, target) == 0 ? 0 : errno; });
}

int Replace(const char* part, const char* target, bool& exists, bool looks) {
  for (int turn = 0; turn < kTurns; ++turn) {
    int problem = exists ? TryTarget(target) : ENOENT;
    if (problem != 0 && problem != ENOENT) return problem;
    const bool is_new = problem == ENOENT;
    problem = is_new ? RenamePatientlyToNewName(part, target, looks) : Rename(part, target);
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

Replacement ReplaceFile(const char* part, const char* target, Target known) {
  bool exists = known == Target::kExists;
  const int problem = known == Target::kMissingForSure
                          ? RenamePatientlyToNewName(part, target, true)
                          : Replace(part, target, exists, known == Target::kUnknown);
  if (problem == 0) return Replacement::kDone;
  const bool lost = exists && !IsStillThere(target);
  if (!lost) System().unlink(part);
  NoteError(lost ? part : target, problem);
  if (problem == ENOENT && !lost) return Replacement::kPartLost;
  return problem == EEXIST && !exists ? Replacement::kAppeared : Replacement::kFailed;
}

}  // namespace tvl
