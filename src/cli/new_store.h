#ifndef TVL_CLI_NEW_STORE_H
#define TVL_CLI_NEW_STORE_H

#include <cstddef>
#include <string>
#include <vector>

namespace tvl::cli {

// The greatest length of a presence marker's name: computer, address, number, process and class.
constexpr std::size_t kLongestMarkerName = 64;

// What a store consists of, as paths of this system.
struct StoreLayout {
  std::string configuration;
  std::string root;
  std::string tmp;
  std::string locks;
  std::string procs;
  std::string lock_table;
  bool is_new;  // the configuration does not exist
};

// The layout of a store to be created at `folder`. Throws Stop where a configuration exists, or where the
// path cannot be written into one and read back the same, or is too long for the names in a store.
[[nodiscard]] StoreLayout NewLayout(const std::string& folder);

// The layout that a configuration describes. Throws Stop if it cannot be used, or if a marker's path would be
// too long.
[[nodiscard]] StoreLayout LayoutOf(const std::string& configuration);

// The configuration in `folder`, or the layout of a store to be created there if there is none.
[[nodiscard]] StoreLayout LayoutAt(const std::string& folder);

// What does not exist, in the order of creation.
[[nodiscard]] std::vector<std::string> MissingParts(const StoreLayout& layout);

// Creates what does not exist, with the rights of the folder it is in; a configuration that cannot be
// completed to a store is removed again. `group`, unless empty: a new root gets this group and the setgid
// bit. Throws Stop for a failure, and if an instance is connected to a store with a part missing: it may use
// a lock table that was moved away, and a new one would divide it from the others.
void CreateMissingParts(const StoreLayout& layout, const std::string& group);

// The text after "DocumentRoot=" that reads as `root` again.
[[nodiscard]] std::string ConfigurationValue(const std::string& root);

}  // namespace tvl::cli

#endif
