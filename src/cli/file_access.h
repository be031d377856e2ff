#ifndef TVL_CLI_FILE_ACCESS_H
#define TVL_CLI_FILE_ACCESS_H

#include <optional>
#include <string>

#include "cli/output/failure.h"

namespace tvl::cli {

// Returns 0 if the file can be opened for reading, else an errno value. Two unreadable files compare as
// equal, so this is checked before files are reported as the same.
[[nodiscard]] int ReadProblem(const std::string& path);

// Predicts for a dry run why a copy from `source` to `target` would fail, as far as this can be seen without
// changing anything. `code` is the code that the library would return.
[[nodiscard]] std::optional<Failure> CopyProblem(const std::string& source, const std::string& target,
                                                 int code);

// Returns for a dry run an errno value if `path` cannot be added to its folder or removed from it, else 0.
// With `makes_folders`, missing folders are acceptable if they could be created in the nearest existing one.
[[nodiscard]] int FolderProblem(const std::string& path, bool makes_folders);

}  // namespace tvl::cli

#endif
