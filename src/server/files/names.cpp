#include "server/files/names.h"

#include <algorithm>

#include "base/text.h"
#include "store/part_name.h"

namespace tvl::server {
namespace {

constexpr std::size_t kLongestName = 259;
constexpr std::size_t kLongestComponent = 255;
constexpr std::string_view kSeparators = "/\\";

bool IsSeparator(char character) {
  return kSeparators.find(character) != std::string_view::npos;
}

bool IsLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool IsAbsolute(std::string_view name) {
  if (IsSeparator(name[0])) return true;
  return name.size() > 2 && IsLetter(name[0]) && name[1] == ':' && IsSeparator(name[2]);
}

bool HasControl(std::string_view name) {
  for (const char character : name) {
    if (IsControl(character)) return true;
  }
  return false;
}

bool IsUsable(std::string_view component) {
  return component.size() <= kLongestComponent && component != ".." && !EndsLikePart(component);
}

}  // namespace

bool IsControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

bool EndsLikePart(std::string_view component) {
  constexpr std::size_t kSuffix = sizeof kPartSuffix - 1;
  if (component.size() < kSuffix) return false;
  return EqualNoCase(std::string(component.substr(component.size() - kSuffix)).c_str(), kPartSuffix);
}

std::optional<std::string> CleanName(std::string_view name) {
  if (name.empty() || name.size() > kLongestName || IsAbsolute(name) || HasControl(name)) return std::nullopt;
  std::string path;
  std::string_view component;
  for (std::size_t at = 0; at <= name.size();) {
    const std::size_t end = std::min(name.find_first_of(kSeparators, at), name.size());
    component = name.substr(at, end - at);
    at = end + 1;
    if (component.empty() || component == ".") continue;
    if (!IsUsable(component)) return std::nullopt;
    if (!path.empty()) path += '/';
    path += component;
  }
  if (component.empty() || component == ".") return std::nullopt;  // the name is that of a folder
  return path;
}

SplitName Split(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {"", path};
  return {path.substr(0, slash), path.substr(slash + 1)};
}

}  // namespace tvl::server
