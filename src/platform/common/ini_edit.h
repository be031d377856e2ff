#ifndef TVL_PLATFORM_COMMON_INI_EDIT_H
#define TVL_PLATFORM_COMMON_INI_EDIT_H

#include <optional>
#include <string>
#include <string_view>

namespace tvl {

// Returns true if a line with this key, and with this value unless it is to be deleted, can be read back
// unchanged.
[[nodiscard]] bool CanBeIniLine(std::string_view key, std::optional<std::string_view> value);

// Returns `contents` with one key set, or deleted if there is no value, and all other bytes unchanged. A
// deletion removes all lines of the key in the section.
[[nodiscard]] std::string EditIni(std::string_view contents, std::string_view section, std::string_view key,
                                  std::optional<std::string_view> value);

}  // namespace tvl

#endif
