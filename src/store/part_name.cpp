#include "store/part_name.h"

#include <algorithm>

namespace tvl {
namespace {

bool SkipNumber(std::string_view& text) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  text.remove_prefix(digits);
  return digits > 0;
}

bool SkipDot(std::string_view& text) {
  if (!text.starts_with('.')) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace

bool IsPartName(std::string_view name) {
  return SkipDot(name) && SkipNumber(name) && SkipDot(name) && SkipNumber(name) && name == kPartSuffix;
}

std::string PartName(unsigned int process, unsigned int number) {
  return "." + std::to_string(process) + "." + std::to_string(number) + kPartSuffix;
}

}  // namespace tvl
