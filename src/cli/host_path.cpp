#include "cli/host_path.h"

#include "cli/output/text.h"

namespace tvl::cli {

std::string WithoutDrive(const std::string& path) {
  return path.substr(DriveOf(path).size());
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  const std::size_t root = DriveOf(path).size();
  return path.substr(0, slash <= root ? root + 1 : slash);
}

bool IsPathIn(const std::string& path, const std::string& folder) {
  return path == folder || path.starts_with(folder.ends_with('/') ? folder : folder + "/");
}

}  // namespace tvl::cli
