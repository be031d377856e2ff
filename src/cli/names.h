#ifndef TVL_CLI_NAMES_H
#define TVL_CLI_NAMES_H

#include <string>
#include <string_view>
#include <vector>

namespace tvl::cli {

// kCopy copies within the store. The "local" name is then the name of the copy in the store.
enum class Direction { kGet, kPut, kCopy };

// A file or tree by its name in the store and its local name.
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

// Returns `name` as a relative path with slashes as separators, without empty and "." components.
[[nodiscard]] std::string TidyName(std::string_view name);

// The options for names on the other side. At most one of them is set.
struct OtherSide {
  std::string folder;  // folder for all names
  std::string name;    // new name for the only name
};

// Pairs each name on the command line with its name on the other side, which is the same name unless `other`
// says otherwise. `working_directory` is a full path; an absolute local name inside it is reduced to the part
// below it. Throws Stop if a name has no counterpart on the other side, or if several names would have the
// same one.
[[nodiscard]] std::vector<NamePair> PairNames(Direction direction, const std::vector<std::string>& names,
                                              const OtherSide& other, const std::string& working_directory);

}  // namespace tvl::cli

#endif
