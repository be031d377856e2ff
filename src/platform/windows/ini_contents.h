#ifndef TVL_PLATFORM_WINDOWS_INI_CONTENTS_H
#define TVL_PLATFORM_WINDOWS_INI_CONTENTS_H

#include <string>

namespace tvl {

// Reads a whole INI file. Tries again for a second while another process or computer replaces it. Returns 0
// or an errno value; then the contents are empty.
[[nodiscard]] int ReadIniContents(const std::string& path, std::string& contents);

}  // namespace tvl

#endif
