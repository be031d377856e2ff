#ifndef TVL_SERVER_FREE_SPACE_H
#define TVL_SERVER_FREE_SPACE_H

#include <cstdint>
#include <string>

namespace tvl::server {

// Space on the store's file system that puts must leave free.
class FreeSpace {
 public:
  // The smaller of 1 % of the file system and 64 MiB.
  FreeSpace() = default;

  // "500M" (see ParseSize) or "5%". Throws std::runtime_error for anything else.
  static FreeSpace Parse(const std::string& text);

  // False if writing `more` bytes to the file system of the open file `file` would leave less. A file system
  // that does not say how full it is allows everything.
  [[nodiscard]] bool Allows(int file, std::uint64_t more) const;

 private:
  static constexpr double kDefaultPercent = 1;
  static constexpr std::uint64_t kDefaultBytes = std::uint64_t{64} << 20U;

  FreeSpace(std::uint64_t bytes, double percent) : bytes_(bytes), percent_(percent) {}

  std::uint64_t bytes_ = kDefaultBytes;
  double percent_ = kDefaultPercent;
};

// Digits, optionally followed by K, M, G or T for powers of 1024. Throws std::runtime_error for anything else
// and for sizes above 2^60.
[[nodiscard]] std::uint64_t ParseSize(const std::string& text);

}  // namespace tvl::server

#endif
