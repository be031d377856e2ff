#include "store/held_files.h"

#include <filesystem>

#include "base/stop.h"
#include "platform/filesystem_path.h"
#include "platform/held_file.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

void AddIfHeld(const std::string& path, std::vector<std::string>& held) {
  if (IsSeenHeld(path.c_str())) held.push_back(path);
}

}  // namespace

std::vector<std::string> HeldFilesAt(const std::string& path) {
  std::vector<std::string> held;
  const fs::path root = FilesystemPath(path);
  std::error_code problem;  // what cannot be listed, the removal itself reports
  const fs::file_type type = fs::symlink_status(root, problem).type();
  if (type == fs::file_type::regular) AddIfHeld(path, held);
  if (type != fs::file_type::directory) return held;
  fs::recursive_directory_iterator entry(root, fs::directory_options::skip_permission_denied, problem);
  for (; !problem && entry != fs::recursive_directory_iterator() && !StopRequested();
       entry.increment(problem)) {
    std::error_code gone;
    if (fs::is_regular_file(entry->symlink_status(gone))) AddIfHeld(TextOf(entry->path()), held);
  }
  return held;
}

}  // namespace tvl
