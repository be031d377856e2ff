#ifndef TVL_STORE_PART_NAME_H
#define TVL_STORE_PART_NAME_H

#include <string>
#include <string_view>

// A part is a file on its way: what is to become a target is written next to it under the name
// ".<process>.<number>.tvlpart", held by a lock as long as its writer lives, and renamed when it is complete.
// A part that nobody holds was left by a writer that was killed.

namespace tvl {

constexpr char kPartSuffix[] = ".tvlpart";

[[nodiscard]] bool IsPartName(std::string_view name);

// std::bad_alloc may pass.
[[nodiscard]] std::string PartName(unsigned int process, unsigned int number);

}  // namespace tvl

#endif
