#include "store/leftovers.h"

#include <algorithm>
#include <filesystem>

#include "platform/filesystem_path.h"
#include "platform/held_file.h"
#include "store/file_kind.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

constexpr char kUnfinishedMarkerExtension[] = ".new";

bool IsPart(const std::string& name) {
  return FileKindOf(name) == TVL_FILE_PART;
}

bool IsMarker(const std::string& name) {
  return FileKindOf(name) == TVL_FILE_MARKER ||
         (name.starts_with('.') && name.ends_with(kUnfinishedMarkerExtension));
}

// Appends the files at and below `folder` whose names are wanted and that nobody holds.
void AddUnheld(const std::string& folder, bool (*wanted)(const std::string& name),
               std::vector<std::string>& found) {
  std::error_code problem;
  fs::recursive_directory_iterator entry(FilesystemPath(folder),
                                         fs::directory_options::skip_permission_denied, problem);
  for (; !problem && entry != fs::recursive_directory_iterator(); entry.increment(problem)) {
    std::error_code gone;
    const std::string path = TextOf(entry->path());
    if (wanted(TextOf(entry->path().filename())) && fs::is_regular_file(entry->symlink_status(gone)) &&
        !IsSeenHeld(path.c_str()))
      found.push_back(path);
  }
}

}  // namespace

std::vector<std::string> FindLeftovers(const TVLStoreLayout& layout) {
  std::vector<std::string> found;
  AddUnheld(layout.root, IsPart, found);
  AddUnheld(layout.procs, IsMarker, found);
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace tvl
