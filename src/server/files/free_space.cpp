#include "server/files/free_space.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <string_view>

#include "host/system_calls.h"

namespace tvl::server {
namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kSizeUnits = "KMGT";
constexpr std::uint64_t kMostSize = std::uint64_t{1} << 60U;
constexpr double kAll = 100;

}  // namespace

std::uint64_t ParseSize(const std::string& text) {
  const std::size_t digits = std::min(text.find_first_not_of(kDigits), text.size());
  std::uint64_t size = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + digits, size);
  unsigned int shift = 0;
  if (digits + 1 == text.size()) {
    const std::size_t unit = kSizeUnits.find(static_cast<char>(std::toupper(text.back())));
    shift = unit == std::string_view::npos ? 64 : 10 * (static_cast<unsigned int>(unit) + 1);
  }
  const bool good = digits > 0 && problem == std::errc() && digits + 1 >= text.size() && shift < 64;
  if (!good || size > kMostSize >> shift) throw std::runtime_error("not a valid size: " + text);
  return size << shift;
}

FreeSpace FreeSpace::Parse(const std::string& text) {
  if (!text.ends_with('%')) return {ParseSize(text), kAll};
  double percent = 0;
  const char* const last = text.data() + text.size() - 1;
  const auto [end, problem] = std::from_chars(text.data(), last, percent);
  if (problem != std::errc() || end != last || !(percent >= 0 && percent <= kAll))
    throw std::runtime_error("not a valid percentage: " + text);
  return {std::numeric_limits<std::uint64_t>::max(), percent};
}

bool FreeSpace::Allows(int file, std::uint64_t more) const {
  struct statvfs status = {};
  if (System().fstatvfs(file, &status) != 0 || status.f_blocks == 0) return true;
  const std::uint64_t unit = status.f_frsize;
  const double part = static_cast<double>(status.f_blocks) * static_cast<double>(unit) * percent_ / kAll;
  const std::uint64_t least = std::min(bytes_, static_cast<std::uint64_t>(part));
  return std::uint64_t{status.f_bavail} * unit >= least + more;
}

}  // namespace tvl::server
