#include "cli/host_path.h"

#include <cctype>

#include "cli/output/text.h"

namespace tvl::cli {
namespace {

bool HasLetter(const std::string& path) {
  return path.size() > 1 && path[1] == ':' && std::isalpha(static_cast<unsigned char>(path[0])) != 0;
}

std::string Utf8Of(const std::u8string& text) {
  return {text.begin(), text.end()};
}

}  // namespace

std::string HostName(const std::string& given) {
  return Slashed(given);
}

std::string DriveOf(const std::string& path) {
  if (HasLetter(path)) return {static_cast<char>(std::toupper(static_cast<unsigned char>(path[0]))), ':'};
  if (!path.starts_with("//")) return {};
  const std::size_t server = path.find('/', 2);
  return path.substr(0, server == std::string::npos ? server : path.find('/', server + 1));
}

bool IsFullPath(const std::string& path) {
  return path.starts_with('/') || (HasLetter(path) && path.size() > 2 && path[2] == '/');
}

std::filesystem::path PathOf(const std::string& text) {
  return std::u8string(text.begin(), text.end());
}

std::string TextOf(const std::filesystem::path& path) {
  return Utf8Of(path.generic_u8string());
}

}  // namespace tvl::cli
