#ifndef TVL_PLATFORM_WINDOWS_DELETE_FILE_H
#define TVL_PLATFORM_WINDOWS_DELETE_FILE_H

#include <cstdint>

namespace tvl {

// Deletes a file that is not held, or a link instead of its target. `size`, if not null, receives the size of
// a file that could be opened. Returns 0 or an errno value.
[[nodiscard]] int DeleteUnheld(const char* path, std::uint64_t* size);

}  // namespace tvl

#endif
