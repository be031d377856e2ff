#include "cli/host_path.h"

namespace tvl::cli {

// A backslash is a character of a name.
std::string HostName(const std::string& given) {
  return given;
}

std::string DriveOf(const std::string& /*path*/) {
  return {};
}

bool IsFullPath(const std::string& path) {
  return path.starts_with('/');
}

std::filesystem::path PathOf(const std::string& text) {
  return text;
}

std::string TextOf(const std::filesystem::path& path) {
  return path.string();
}

}  // namespace tvl::cli
