#ifndef TVL_PLATFORM_COMMON_NAME_PATTERN_H
#define TVL_PLATFORM_COMMON_NAME_PATTERN_H

#include <string>
#include <string_view>

#include "platform/search.h"

namespace tvl {

[[nodiscard]] constexpr char LowerLetter(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// Returns true if a search with this pattern finds `name`.
[[nodiscard]] bool IsPatternMatch(std::string_view pattern, std::string_view name);

// The folder and pattern of a search. Paths contain backslashes.
struct SearchAim {
  std::string path;
  std::string pattern;
  SearchScope scope;
};

// Splits a path into the folder, with its separator, and the pattern.
[[nodiscard]] SearchAim SearchAimOf(std::string_view path, SearchScope scope);

}  // namespace tvl

#endif
