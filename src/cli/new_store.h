#ifndef TVL_CLI_NEW_STORE_H
#define TVL_CLI_NEW_STORE_H

#include <string>
#include <vector>

namespace tvl::cli {

// A store that is yet to be made. Throws Stop where it cannot be, and then has made nothing unless the file
// system itself refused halfway.
class NewStore {
 public:
  // Checks that a store can stand at `folder`: no configuration is there, and its path can be written into
  // one and read back the same.
  explicit NewStore(const std::string& folder);

  // Makes the folders, then the configuration, then the lock table; where that fails the configuration goes
  // again, so where one is, the store is whole.
  void Make() const;

  [[nodiscard]] const std::string& Root() const { return root_; }
  [[nodiscard]] std::string Configuration() const;
  // Whatever is not there yet, in the order of making.
  [[nodiscard]] std::vector<std::string> Missing() const;

 private:
  std::string root_;
};

// The text behind "DocumentRoot=" that reads as `root` again.
[[nodiscard]] std::string ConfigurationValue(const std::string& root);

}  // namespace tvl::cli

#endif
