#ifndef TVL_PLATFORM_PARTS_H
#define TVL_PLATFORM_PARTS_H

#include <string>

namespace tvl {

// Returns the name of a part (store/part_name.h) that this process has not used before and that processes of
// other computers hardly use. May throw std::bad_alloc.
[[nodiscard]] std::string NextPartName();

}  // namespace tvl

#endif
