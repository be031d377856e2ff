#ifndef TVL_CLI_UNKNOWN_COMMAND_H
#define TVL_CLI_UNKNOWN_COMMAND_H

#include <optional>
#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace tvl::cli {

// Returns the full name of the command that a parse of `app` has reached, such as "config show".
[[nodiscard]] std::string CommandPath(const CLI::App& app);

// If a failed parse of `app` stopped at an unknown command, returns a message such as
// "unknown command 'lst' (did you mean 'ls'?)".
[[nodiscard]] std::optional<std::string> UnknownCommand(const CLI::App& app);

}  // namespace tvl::cli

#endif
