#ifndef TVL_CLI_FILE_ACCESS_H
#define TVL_CLI_FILE_ACCESS_H

#include <optional>
#include <string>

#include "cli/failure.h"

namespace tvl::cli {

// 0 if the file can be opened to read it, else an errno value. Equality of two files that nobody can read
// says nothing, so this is asked before they are called the same.
[[nodiscard]] int ReadProblem(const std::string& path);

// For a dry run: why a copy from `source` to `target` would fail, as far as that shows without changing
// anything. `code` is the library's for that failure.
[[nodiscard]] std::optional<Failure> CopyProblem(const std::string& source, const std::string& target,
                                                 int code);

// For a dry run: an errno value if `path` cannot be added to its folder or removed from it, else 0. With
// `makes_folders` missing folders do not matter, but the nearest existing one does.
[[nodiscard]] int FolderProblem(const std::string& path, bool makes_folders);

}  // namespace tvl::cli

#endif
