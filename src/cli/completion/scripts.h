#ifndef TVL_CLI_COMPLETION_SCRIPTS_H
#define TVL_CLI_COMPLETION_SCRIPTS_H

#include <string_view>

namespace tvl::cli {

// Returns the script that makes `shell` complete command lines of tvl; null for an unknown shell.
[[nodiscard]] const char* CompletionScript(std::string_view shell);

}  // namespace tvl::cli

#endif
