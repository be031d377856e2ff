#ifndef TVL_CLI_LOCKS_GLOB_H
#define TVL_CLI_LOCKS_GLOB_H

#include <string>

namespace tvl::cli {

// Returns true if a pattern of a shell, with `*`, `?`, `[...]` and `\`, matches the whole text. A slash is
// an ordinary character.
[[nodiscard]] bool MatchesGlob(const std::string& pattern, const std::string& text);

}  // namespace tvl::cli

#endif
