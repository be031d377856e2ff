#ifndef TVL_CLI_OUTPUT_TERMINAL_H
#define TVL_CLI_OUTPUT_TERMINAL_H

#include <cstddef>
#include <optional>
#include <string_view>

namespace tvl::cli {

enum class Stream { kInput, kOutput, kErrors };

// Returns true for a terminal, which shows colours and obeys escape sequences if it is one for output.
[[nodiscard]] bool IsTerminal(Stream stream);

// What a user presses to end the input of a terminal.
extern const char* const kEndOfInputKeys;

// Returns the width of the terminal that standard error is connected to, if there is one.
[[nodiscard]] std::optional<std::size_t> TerminalColumns();

// Writes to standard error without a buffer and without a lock, so that a signal handler may do it, and
// another thread while one is blocked.
void WriteErrors(std::string_view text);

// Returns the number of columns of a character: 0 for one that combines with the previous one, negative for a
// control character.
[[nodiscard]] int CharacterColumns(char32_t code_point);

}  // namespace tvl::cli

#endif
