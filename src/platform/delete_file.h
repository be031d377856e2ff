#ifndef TVL_PLATFORM_DELETE_FILE_H
#define TVL_PLATFORM_DELETE_FILE_H

#include <cstdint>

namespace tvl {

// Deletes what is called `name` in the open folder `folder`, unless it is a folder or someone holds it. A
// link is deleted itself. `kind`: the DT_ value of the name, DT_UNKNOWN if the caller does not know it.
// `size`, if not null, receives the size of a regular file that could be opened; otherwise it is left alone.
// Returns 0 or an errno value. Inside the platform layer only.
[[nodiscard]] int DeleteAt(int folder, const char* name, unsigned char kind, std::uint64_t* size);

}  // namespace tvl

#endif
