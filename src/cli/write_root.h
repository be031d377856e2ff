#ifndef TVL_CLI_WRITE_ROOT_H
#define TVL_CLI_WRITE_ROOT_H

#include <string>

namespace tvl::cli {

// The folder that a command writes into. Anyone who may write to a store can plant a link in it, so what is
// written must not leave the folder through one.
class WriteRoot {
 public:
  // `follow` allows links to lead anywhere.
  WriteRoot(const std::string& folder, bool follow);

  // True if what is written to `path` would land outside the folder.
  [[nodiscard]] bool IsLeftBy(const std::string& path);

 private:
  [[nodiscard]] bool IsOutside(const std::string& folder);

  std::string root_;
  bool follow_;
  std::string last_folder_;  // what was asked last, as the files of one folder follow each other
  bool last_outside_ = false;
};

inline constexpr char kLeadsOutText[] = "leads out through a link on the other side; --follow allows it";

}  // namespace tvl::cli

#endif
