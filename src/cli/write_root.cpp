#include "cli/write_root.h"

#include <sys/stat.h>

#include <filesystem>

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;

std::string RealPath(const fs::path& path) {
  std::error_code problem;
  const fs::path real = fs::weakly_canonical(path, problem);
  return problem ? std::string() : real.string();
}

bool IsLink(const fs::path& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

fs::path WithoutSlash(const fs::path& path) {
  return path.has_filename() ? path : path.parent_path();
}

}  // namespace

WriteRoot::WriteRoot(const std::string& folder, bool follow) : root_(RealPath(folder)), follow_(follow) {
  if (root_.size() > 1 && root_.back() == '/') root_.pop_back();
}

// A path that cannot be resolved, such as a loop of links, counts as outside.
bool WriteRoot::IsOutside(const std::string& folder) {
  if (folder == last_folder_) return last_outside_;
  const std::string real = RealPath(folder);
  last_folder_ = folder;
  last_outside_ = real != root_ && root_ != "/" && !real.starts_with(root_ + "/");
  return last_outside_;
}

// Resolves even a dangling link in the last place, because writing to it would create its target.
bool WriteRoot::IsLeftBy(const std::string& path) {
  if (follow_) return false;
  fs::path place = WithoutSlash(path);
  for (int links = 0; links < kMostLinks; ++links) {
    if (IsOutside(place.parent_path().string()))
      return IsOutside(place.string());  // `path` may be the root itself
    if (!IsLink(place)) return false;
    std::error_code problem;
    if (fs::is_directory(place, problem)) return IsOutside(place.string());
    place = WithoutSlash(place.parent_path() / fs::read_symlink(place, problem));
    if (problem) return true;
  }
  return true;
}

}  // namespace tvl::cli
