#ifndef TVL_STORE_PART_NAME_H
#define TVL_STORE_PART_NAME_H

#include <string>
#include <string_view>

// A part is an unfinished file: it is written next to its target with the name ".<process>.<number>.tvlpart",
// held by a lock as long as its writer is alive, and renamed to the target when it is complete. A part that
// nobody holds was left by a killed writer.

namespace tvl {

constexpr char kPartSuffix[] = ".tvlpart";

[[nodiscard]] bool IsPartName(std::string_view name);

// May throw std::bad_alloc.
[[nodiscard]] std::string PartName(unsigned int process, unsigned int number);

}  // namespace tvl

#endif
