#ifndef TVL_CLI_HASH_INPUT_H
#define TVL_CLI_HASH_INPUT_H

#include <cstdint>
#include <memory>
#include <string>

namespace tvl::cli {

// A regular file that stays open while it is examined.
class HashInput {
 public:
  explicit HashInput(const std::string& name);
  ~HashInput();
  HashInput(const HashInput&) = delete;
  HashInput& operator=(const HashInput&) = delete;

  // Returns 0, or why the file cannot be read, an errno value.
  [[nodiscard]] int Problem() const { return problem_; }
  [[nodiscard]] std::int64_t Size() const { return size_; }

  // Returns a path to the file that the library can open.
  [[nodiscard]] const std::string& UsablePath() const { return path_; }

 private:
  struct Opened;

  std::unique_ptr<Opened> opened_;
  std::string path_;
  int problem_ = 0;
  std::int64_t size_ = 0;
};

}  // namespace tvl::cli

#endif
