#ifndef TVL_PLATFORM_REPLACE_FILE_H
#define TVL_PLATFORM_REPLACE_FILE_H

namespace tvl {

// Renames the closed file `part` over `target`; both are host paths. `exists` says whether the target was
// there when the part was begun.
//
// Returns false if somebody holds the target, or the rename is refused. A refusal that may be due to a
// program of this computer that has the target open, as on SMB, is retried for 10 s. After a failure the part
// is removed, but only once the old target is seen to exist: such a refused rename can make the target
// disappear as soon as that program closes it. Where it has disappeared, the part stays, and its name is
// noted with the failure (last_error.h).
[[nodiscard]] bool ReplaceFile(const char* part, const char* target, bool exists);

// Whether the target of a refused rename is still there. On SMB it may be marked for deletion, and only an
// open for writing asks the server; the rest is answered from what this computer has cached.
[[nodiscard]] bool IsStillThere(const char* target);

}  // namespace tvl

#endif
