#ifndef TVL_PLATFORM_INI_EDIT_H
#define TVL_PLATFORM_INI_EDIT_H

#include <optional>
#include <string>
#include <string_view>

namespace tvl {

// True if a line with this key, and this value unless it is a deletion, reads back the same.
[[nodiscard]] bool CanBeIniLine(std::string_view key, std::optional<std::string_view> value);

// `contents` with one key set, or deleted where there is no value; every other byte is kept. A deletion
// removes all lines of the key in the section.
[[nodiscard]] std::string EditIni(std::string_view contents, std::string_view section, std::string_view key,
                                  std::optional<std::string_view> value);

}  // namespace tvl

#endif
