#ifndef TVL_CLI_NAMES_H
#define TVL_CLI_NAMES_H

#include <string>
#include <string_view>
#include <vector>

namespace tvl::cli {

// kCopy: within the store; the name "on this side" is then the one that the copy gets on the store.
enum class Direction { kGet, kPut, kCopy };

// A file or tree by its name on the store and its name on this side.
struct NamePair {
  std::string remote;
  std::string local;

  [[nodiscard]] const std::string& Source(Direction direction) const {
    return direction == Direction::kPut ? local : remote;
  }
  [[nodiscard]] const std::string& Target(Direction direction) const {
    return direction == Direction::kPut ? remote : local;
  }
};

// `name` with slashes as separators, relative, without empty and "." components.
[[nodiscard]] std::string TidyName(std::string_view name);

// What the names on the command line stand for. With `to` every name goes into that folder of the other side;
// else two names are the two sides of one thing, and any other number are as many things, each under its own
// name. `working_directory` is a full path: an absolute local name in it has its place on the store too.
// Throws Stop where the other side's name would be nobody's wish.
[[nodiscard]] std::vector<NamePair> PairNames(Direction direction, const std::vector<std::string>& names,
                                              const std::string& to, const std::string& working_directory);

}  // namespace tvl::cli

#endif
