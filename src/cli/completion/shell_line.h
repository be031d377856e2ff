#ifndef TVL_CLI_COMPLETION_SHELL_LINE_H
#define TVL_CLI_COMPLETION_SHELL_LINE_H

#include <string>
#include <string_view>
#include <vector>

namespace tvl::cli {

// Splits the beginning of a shell's command line into words, without their quotes. The last word is the one
// to complete: it is empty after a blank, and its quotes may still be open. A leading "~/" is replaced by the
// home folder in all words but the last.
[[nodiscard]] std::vector<std::string> SplitShellLine(std::string_view line);

}  // namespace tvl::cli

#endif
