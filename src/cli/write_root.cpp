#include "cli/write_root.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>

#include "host/system_calls.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;

// Returns what a link contains; empty if it cannot be read.
std::string TargetOf(const std::string& link) {
  std::array<char, PATH_MAX> target = {};
  const ssize_t size = System().readlinkat(AT_FDCWD, link.c_str(), target.data(), target.size());
  return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

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
  last_outside_ = real != root_ && root_ != "/" && !real.starts_with(root_ + "/");
  return last_outside_;
}

bool WriteRoot::IsLeftBy(const std::string& path) {
  const std::string plain = WithoutSlash(path).string();
  return IsLeftBy(plain, LookAtName(plain));
}

// Resolves even a dangling link in the last place, because writing to it would create its target.
bool WriteRoot::IsLeftBy(const std::string& path, const NameStatus& status) {
  if (follow_) return false;
  // The usual case: a plain entry of a folder that was examined before.
  if (!status.IsLink() && !last_outside_ && FolderOf(path) == last_folder_) return false;
  fs::path place = path;
  NameStatus found = status;
  for (int links = 0; links < kMostLinks; ++links) {
    if (IsOutside(place.parent_path().string()))
      return IsOutside(place.string());  // `path` may be the root itself
    if (!found.IsLink()) return false;
    if (found.leads_to && S_ISDIR(found.leads_to->st_mode)) return IsOutside(place.string());
    const std::string target = TargetOf(place.string());
    if (target.empty()) return true;
    place = WithoutSlash(place.parent_path() / target);
    found = LookAtName(place.string());
  }
  return true;
}

}  // namespace tvl::cli
