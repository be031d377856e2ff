#include "platform/filesystem_path.h"

std::filesystem::path tvl::FilesystemPath(const std::string& path) {
  return path;
}

std::string tvl::TextOf(const std::filesystem::path& path) {
  return path.string();
}
