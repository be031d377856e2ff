#include "store/leftovers.h"

#include <algorithm>
#include <filesystem>

#include "platform/held_file.h"
#include "store/part_name.h"

namespace tvl {

std::vector<std::string> FindLeftovers(const std::string& root) {
  namespace fs = std::filesystem;
  std::vector<std::string> parts;
  std::error_code problem;
  fs::recursive_directory_iterator entry(root, fs::directory_options::skip_permission_denied, problem);
  for (; !problem && entry != fs::recursive_directory_iterator(); entry.increment(problem)) {
    std::error_code gone;
    const std::string path = entry->path().string();
    if (IsPartName(entry->path().filename().string()) && fs::is_regular_file(entry->symlink_status(gone)) &&
        !IsSeenHeld(path.c_str()))
      parts.push_back(path);
  }
  std::sort(parts.begin(), parts.end());
  return parts;
}

}  // namespace tvl
