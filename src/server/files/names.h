#ifndef TVL_SERVER_FILES_NAMES_H
#define TVL_SERVER_FILES_NAMES_H

#include <optional>
#include <string>
#include <string_view>

namespace tvl::server {

// Converts a client's name to a path below the document root: components separated by single slashes. Both
// kinds of slashes are separators, runs of them count as one, and "." is removed.
//
// Returns nothing for a name that cannot be that of a file there: an empty or absolute name, that of a
// folder, one with "..", one with a control character, one of more than 259 bytes or 255 per component, or
// that of an unfinished put.
[[nodiscard]] std::optional<std::string> CleanName(std::string_view name);

// Returns true for the name of a file that a put is writing, regardless of case, and for names that end like
// one.
[[nodiscard]] bool EndsLikePart(std::string_view component);

// "a/b/c" is split into "a/b" and "c".
struct SplitName {
  std::string folder;  // empty for the root
  std::string base;
};
[[nodiscard]] SplitName Split(const std::string& path);

[[nodiscard]] bool IsControl(char character);

}  // namespace tvl::server

#endif
