#ifndef TVL_PLATFORM_POSIX_INI_CONTENTS_H
#define TVL_PLATFORM_POSIX_INI_CONTENTS_H

#include <string>

namespace tvl {

// Appends the rest of the file `descriptor` to `contents`. Returns 0 or an errno value.
[[nodiscard]] int ReadIniContents(int descriptor, std::string& contents);

}  // namespace tvl

#endif
