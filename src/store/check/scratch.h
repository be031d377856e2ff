#ifndef TVL_STORE_CHECK_SCRATCH_H
#define TVL_STORE_CHECK_SCRATCH_H

#include <cstddef>
#include <string>
#include <string_view>

namespace tvl {

// A temporary folder for the checks, removed with its contents at the end.
class Scratch {
 public:
  explicit Scratch(const std::string& folder);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  // Why it could not be created, an errno value; 0 if it was.
  [[nodiscard]] int Problem() const { return problem_; }

  // Creates a file that contains `text` and returns its path.
  [[nodiscard]] std::string File(const std::string& name, std::string_view text) const;
  [[nodiscard]] std::string Path(const std::string& name) const;

  // Longest path of a folder, in bytes, at which the library can still open the files of the checks.
  static constexpr std::size_t kLongestFolder = 220;

 private:
  std::string path_;
  int problem_ = 0;
};

// Writes a file of the checks, open to every user; one that cannot be written fails the check that reads it.
void WriteContents(const std::string& path, std::string_view text);

[[nodiscard]] bool IsThere(const std::string& path);

// Returns the contents of a file; empty if it cannot be read.
[[nodiscard]] std::string ContentsOf(const std::string& path);

}  // namespace tvl

#endif
