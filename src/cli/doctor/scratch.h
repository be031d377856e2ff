#ifndef TVL_CLI_DOCTOR_SCRATCH_H
#define TVL_CLI_DOCTOR_SCRATCH_H

#include <string>

namespace tvl::cli {

// A temporary folder for the checks, removed with its contents at the end. The constructor throws Stop if it
// cannot be created.
class Scratch {
 public:
  explicit Scratch(const std::string& folder);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  // Creates a file that contains `text` and returns its path.
  [[nodiscard]] std::string File(const std::string& name, const std::string& text) const;
  [[nodiscard]] std::string Path(const std::string& name) const;

  // Longest path of a folder, in bytes, at which the library can still open the files of the checks.
  static constexpr std::size_t kLongestFolder = 220;

 private:
  std::string path_;
};

// Returns the contents of a file; empty if it cannot be read.
[[nodiscard]] std::string ContentsOf(const std::string& path);

}  // namespace tvl::cli

#endif
