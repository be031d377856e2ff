#ifndef TVL_PLATFORM_PARTS_H
#define TVL_PLATFORM_PARTS_H

#include <string>

// Operations on parts (store/part_name.h).

namespace tvl {

// Returns a part name that this process has not used before and that processes of other computers hardly use.
// May throw std::bad_alloc.
[[nodiscard]] std::string NextPartName();

// Removes the parts in a folder that nobody holds. Returns their number.
int RemoveDeadParts(const char* folder);

}  // namespace tvl

#endif
