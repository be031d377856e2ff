#ifndef TVL_CLI_WINDOWS_ARGUMENTS_H
#define TVL_CLI_WINDOWS_ARGUMENTS_H

#include <string>
#include <vector>

namespace tvl::cli {

// Returns the arguments in a command line, without the name of the program. An argument whose last component
// contains `*` or `?` outside quotes becomes the names that match it, in their order, and stays as it is if
// there are none: no shell does that here.
[[nodiscard]] std::vector<std::wstring> ArgumentsOf(const wchar_t* command_line);

}  // namespace tvl::cli

#endif
