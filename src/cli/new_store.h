#ifndef TVL_CLI_NEW_STORE_H
#define TVL_CLI_NEW_STORE_H

#include <cstddef>
#include <string>
#include <vector>

namespace tvl::cli {

// Maximum length of a presence marker's name: computer, address, number, process and class.
constexpr std::size_t kLongestMarkerName = 64;

// The parts of a store, as host paths.
struct StoreLayout {
  std::string configuration;
  std::string root;
  std::string tmp;
  std::string locks;
  std::string procs;
  std::string lock_table;
  bool is_new;  // the configuration does not exist
};

// Returns the layout of a store to be created at `folder`. Throws Stop if a configuration already exists
// there, if the path would not survive being written to a configuration, or if it is too long for the names
// in a store.
[[nodiscard]] StoreLayout NewLayout(const std::string& folder);

// Returns the layout that a configuration describes. Throws Stop if the configuration cannot be used, or if
// the path of a marker would be too long.
[[nodiscard]] StoreLayout LayoutOf(const std::string& configuration);

// Returns the layout of the configuration in `folder`, or of a store to be created there if there is none.
[[nodiscard]] StoreLayout LayoutAt(const std::string& folder);

// Returns the parts that do not exist, in the order of creation.
[[nodiscard]] std::vector<std::string> MissingParts(const StoreLayout& layout);

// Creates the missing parts with the permissions of their folders. Removes a new configuration again if the
// rest of the store cannot be created. If `group` is not empty, a new root gets this group and the setgid
// bit. Throws Stop on failure, and if an instance is connected to a store with a missing part: it may use a
// lock table that was moved away, and would not see the locks in a new one.
void CreateMissingParts(const StoreLayout& layout, const std::string& group);

// Returns the text after "DocumentRoot=" that is read back as `root`.
[[nodiscard]] std::string ConfigurationValue(const std::string& root);

}  // namespace tvl::cli

#endif
