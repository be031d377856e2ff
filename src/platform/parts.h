#ifndef TVL_PLATFORM_PARTS_H
#define TVL_PLATFORM_PARTS_H

#include <string>
#include <string_view>

// A part is a file on its way: what is to become a target is written next to it under the name
// ".<pid>.<n>.tvlpart", held by a lock as long as its writer lives, and renamed when it is complete. A part
// that nobody holds was left by a writer that was killed.

namespace tvl {

constexpr char kPartSuffix[] = ".tvlpart";

[[nodiscard]] bool IsPartName(std::string_view name);

// A part's name that this process has not used before. std::bad_alloc may pass.
[[nodiscard]] std::string NextPartName();

// Removes the parts in one folder that nobody holds. Returns their number.
int RemoveDeadParts(const char* folder);

}  // namespace tvl

#endif
