#ifndef TVL_SERVER_FILES_FREE_SPACE_H
#define TVL_SERVER_FILES_FREE_SPACE_H

#include <cstdint>
#include <string>

namespace tvl::server {

// The space to keep free on the store's file system.
class FreeSpace {
 public:
  // Keeps the smaller of 1 % of the file system and 64 MiB.
  FreeSpace() = default;

  // Parses "500M" (see ParseSize) or "5%". Throws std::runtime_error for anything else.
  static FreeSpace Parse(const std::string& text);

  // Returns false if writing `more` bytes to the file system of the open file `file` would leave less.
  // Returns true on a file system that does not report its free space.
  [[nodiscard]] bool Allows(int file, std::uint64_t more) const;

 private:
  static constexpr double kDefaultPercent = 1;
  static constexpr std::uint64_t kDefaultBytes = std::uint64_t{64} << 20U;

  FreeSpace(std::uint64_t bytes, double percent) : bytes_(bytes), percent_(percent) {}

  std::uint64_t bytes_ = kDefaultBytes;
  double percent_ = kDefaultPercent;
};

// Parses digits, optionally followed by K, M, G or T for powers of 1024. Throws std::runtime_error for
// anything else and for sizes above 2^60.
[[nodiscard]] std::uint64_t ParseSize(const std::string& text);

}  // namespace tvl::server

#endif
