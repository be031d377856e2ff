#ifndef TVL_PLATFORM_PARTS_H
#define TVL_PLATFORM_PARTS_H

#include <string>

// The files that store/part_name.h describes.

namespace tvl {

// A part's name that this process has not used before. std::bad_alloc may pass.
[[nodiscard]] std::string NextPartName();

// Removes the parts in one folder that nobody holds. Returns their number.
int RemoveDeadParts(const char* folder);

}  // namespace tvl

#endif
