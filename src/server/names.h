#ifndef TVL_SERVER_NAMES_H
#define TVL_SERVER_NAMES_H

#include <optional>
#include <string>
#include <string_view>

namespace tvl::server {

// The path below the document root that a client's name means: components with one slash between them. Either
// slash separates, runs of them count as one, "." goes.
//
// Nothing for a name that can't be one of a file there: empty, absolute, of a folder, with a "..", with a
// control character, above 259 bytes or 255 a component, or one of a put that has not ended.
[[nodiscard]] std::optional<std::string> CleanName(std::string_view name);

// True for the name of a file that a put is writing, in any case of letters, and for names that end like one.
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
