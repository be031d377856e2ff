#ifndef TVL_CLI_WINDOWS_SYSTEM_H
#define TVL_CLI_WINDOWS_SYSTEM_H

#include <string>
#include <string_view>

namespace tvl::cli {

// Convert between UTF-8 and the system's texts. What is not valid becomes U+FFFD.
[[nodiscard]] std::wstring WideOf(std::string_view text);
[[nodiscard]] std::string Utf8Of(std::wstring_view text);

// Returns the full path of an existing file or folder without links, with slashes. Empty, with the reason in
// errno, if it cannot be resolved.
[[nodiscard]] std::string FinalPath(const std::string& path);

// Returns 0, or an errno value if this user may not create and remove names in a folder.
[[nodiscard]] int FolderChangeProblem(const std::string& folder);

// Returns the value of an environment variable; empty if there is none.
[[nodiscard]] std::string Variable(const wchar_t* name);

}  // namespace tvl::cli

#endif
