#ifndef TVL_CLI_DOCTOR_SCRATCH_H
#define TVL_CLI_DOCTOR_SCRATCH_H

#include <string>

namespace tvl::cli {

// A folder for the checks, removed with everything in it at the end. Throws Stop if nothing can be written.
class Scratch {
 public:
  explicit Scratch(const std::string& folder);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  // A new file that contains `text`.
  [[nodiscard]] std::string File(const std::string& name, const std::string& text) const;
  [[nodiscard]] std::string Path(const std::string& name) const;

  // Bytes that a folder's path may have so that the library reaches the files of the checks.
  static constexpr std::size_t kLongestFolder = 220;

 private:
  std::string path_;
};

// The contents of a file; empty if it cannot be read.
[[nodiscard]] std::string ContentsOf(const std::string& path);

}  // namespace tvl::cli

#endif
