#ifndef TVL_PLATFORM_POSIX_DELETE_FILE_H
#define TVL_PLATFORM_POSIX_DELETE_FILE_H

#include <cstdint>

namespace tvl {

// Deletes the entry `name` of the open folder `folder`, unless it is a folder or is held. Deletes a link, not
// its target. `kind` is the DT_ value of the entry, or DT_UNKNOWN. `size`, if not null, receives the size of
// a regular file that could be opened; otherwise it is unchanged. Returns 0 or an errno value. For the
// platform layer only.
[[nodiscard]] int DeleteAt(int folder, const char* name, unsigned char kind, std::uint64_t* size);

// The same, but moves the entry to the host path `target`, which must not exist.
[[nodiscard]] int MoveAwayAt(int folder, const char* name, unsigned char kind, const char* target);

}  // namespace tvl

#endif
