#ifndef TVL_PLATFORM_POSIX_INI_CONTENTS_H
#define TVL_PLATFORM_POSIX_INI_CONTENTS_H

#include <string>

namespace tvl {

// Appends the rest of the file `descriptor` to `contents`. Returns 0 or an errno value.
[[nodiscard]] int ReadIniContents(int descriptor, std::string& contents);

// Returns whether the failure to open an INI file passes in a moment because another computer replaces the
// file. On SMB it is then missing for a moment if its writer has to delete it first; a missing file that our
// writers have never written is just missing.
[[nodiscard]] bool IsBeingReplaced(const std::string& path, int problem);

}  // namespace tvl

#endif
