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

// What the options of the command line say about names on the other side; at most one of them is set.
struct OtherSide {
  std::string folder;  // every name becomes an entry of this folder
  std::string name;    // the one name gets this name
};

// Pairs each name on the command line with its name on the other side, the same name unless `other` says
// otherwise. `working_directory` is a full path: an absolute local name inside it has its place on the store
// too. Throws Stop if a name has no place on the other side, or if several names would share one.
[[nodiscard]] std::vector<NamePair> PairNames(Direction direction, const std::vector<std::string>& names,
                                              const OtherSide& other, const std::string& working_directory);

}  // namespace tvl::cli

#endif
