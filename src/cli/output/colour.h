#ifndef TVL_CLI_OUTPUT_COLOUR_H
#define TVL_CLI_OUTPUT_COLOUR_H

#include <string>

#include "cli/output/terminal.h"

namespace tvl::cli {

enum class Colour { kGood, kWarning, kBad };

// Returns `text` in a colour for `stream`, unchanged if that is not a terminal or the user wants no colours
// (NO_COLOR, or TERM=dumb).
[[nodiscard]] std::string Coloured(const std::string& text, Colour colour, Stream stream);

}  // namespace tvl::cli

#endif
