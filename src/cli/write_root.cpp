#include "cli/write_root.h"

#include <filesystem>

#include "cli/host_path.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;

fs::path WithoutSlash(const fs::path& path) {
  return path.has_filename() ? path : path.parent_path();
}

}  // namespace

WriteRoot::WriteRoot(const std::string& folder, bool follow) : root_(RealPath(folder)), follow_(follow) {}

// A path that cannot be resolved, such as a loop of links, counts as outside.
bool WriteRoot::IsOutside(const std::string& folder) {
  if (folder == last_folder_) return last_outside_;
  const std::string real = RealPath(folder);
  last_folder_ = folder;
  last_outside_ = !IsPathIn(real, root_);
  return last_outside_;
}

bool WriteRoot::IsLeftBy(const std::string& path) {
  const std::string plain = TextOf(WithoutSlash(PathOf(path)));
  return IsLeftBy(plain, LookAtName(plain));
}

// Resolves even a dangling link in the last place, because writing to it would create its target.
bool WriteRoot::IsLeftBy(const std::string& path, const NameStatus& status) {
  if (follow_) return false;
  // The usual case: a plain entry of a folder that was examined before.
  if (!status.IsLink() && !last_outside_ && FolderOf(path) == last_folder_) return false;
  fs::path place = PathOf(path);
  NameStatus found = status;
  for (int links = 0; links < kMostLinks; ++links) {
    if (IsOutside(TextOf(place.parent_path())))
      return IsOutside(TextOf(place));  // `path` may be the root itself
    if (!found.IsLink()) return false;
    if (found.leads_to && found.leads_to->IsFolder()) return IsOutside(TextOf(place));
    const std::string target = LinkTarget(TextOf(place));
    if (target.empty()) return true;
    place = WithoutSlash(place.parent_path() / PathOf(target));
    found = LookAtName(TextOf(place));
  }
  return true;
}

}  // namespace tvl::cli
