#include "cli/output/colour.h"

#include <cstddef>

#include "cli/environment.h"

namespace tvl::cli {
namespace {

constexpr const char* kStarts[] = {"\x1b[32m", "\x1b[33m", "\x1b[31m"};  // green, yellow, red
constexpr char kEnd[] = "\x1b[m";

bool WantsColours(Stream stream) {
  return IsTerminal(stream) && Environment("NO_COLOR").empty() && Environment("TERM") != "dumb";
}

}  // namespace

std::string Coloured(const std::string& text, Colour colour, Stream stream) {
  if (!WantsColours(stream)) return text;
  return kStarts[static_cast<std::size_t>(colour)] + text + kEnd;
}

}  // namespace tvl::cli
