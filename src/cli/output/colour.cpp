#include "cli/output/colour.h"

#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace tvl::cli {
namespace {

constexpr const char* kStarts[] = {"\x1b[32m", "\x1b[33m", "\x1b[31m"};  // green, yellow, red
constexpr char kEnd[] = "\x1b[m";

std::string_view Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

bool WantsColours(int descriptor) {
  return isatty(descriptor) == 1 && Variable("NO_COLOR").empty() && Variable("TERM") != "dumb";
}

}  // namespace

std::string Coloured(const std::string& text, Colour colour, int descriptor) {
  if (!WantsColours(descriptor)) return text;
  return kStarts[static_cast<std::size_t>(colour)] + text + kEnd;
}

}  // namespace tvl::cli
