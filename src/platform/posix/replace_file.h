#ifndef TVL_PLATFORM_POSIX_REPLACE_FILE_H
#define TVL_PLATFORM_POSIX_REPLACE_FILE_H

namespace tvl {

// What is known about the target of a rename.
enum class Target {
  kExists,          // it existed when the part was created
  kMissing,         // it did not exist then
  kUnknown,         // nobody has checked
  kMissingForSure,  // it must not exist now; nobody has checked
};

enum class Replacement {
  kDone,
  kFailed,
  kPartLost,  // another process removed the part
  kAppeared,  // the target exists although it must not
};

// Renames the closed file `part` to `target`; both are host paths.
//
// Fails if the target is held or the rename is refused. If the reason may be that a program of this computer
// has the target open, as on SMB, tries again for 10 s. After a failure the part is removed, but only if the
// old target still exists: such a refused rename can make the target disappear as soon as that program closes
// it. If it has disappeared, the part is kept, and its name is recorded with the failure (last_error.h).
[[nodiscard]] Replacement ReplaceFile(const char* part, const char* target, Target known);

// Returns whether the target of a refused rename still exists. On SMB it may be marked for deletion, and only
// opening it for writing contacts the server; other calls are answered from the cache of this computer.
[[nodiscard]] bool IsStillThere(const char* target);

}  // namespace tvl

#endif
