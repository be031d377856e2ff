#include "cli/folder_trail.h"

#include <algorithm>

namespace tvl::cli {

void Identities::Add(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) Add(status);
}

bool Identities::Hold(const struct stat& status) const {
  return std::find(known_.begin(), known_.end(), IdentityOf(status)) != known_.end();
}

// The parents are those that ".." leads to. For a folder reached by a link they are not the folders of the
// walk. The parents of a folder that is already known are known too.
InFolder::InFolder(Identities& trail, const std::string& path) : trail_(trail), before_(trail.Count()) {
  struct stat status = {};
  for (std::string way = path; stat(way.c_str(), &status) == 0 && !trail_.Hold(status); way += "/..")
    trail_.Add(status);
}

bool LiesIn(const std::string& path, const std::string& folder) {
  struct stat status = {};
  std::string there = path;
  while (stat(there.c_str(), &status) != 0) {
    const std::size_t slash = there.find_last_of('/');
    if (slash == std::string::npos) return false;
    there.resize(slash == 0 ? 1 : slash);
    if (slash == 0) break;
  }
  struct stat wanted = {};
  if (stat(folder.c_str(), &wanted) != 0) return false;
  if (stat(there.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
    Identities file;
    file.Add(status);
    if (file.Hold(wanted)) return true;
    there = there.substr(0, there.find_last_of('/') + 1) + ".";
  }
  Identities trail;
  const InFolder here(trail, there);
  return trail.Hold(wanted);
}

bool LeadsBack(const std::string& path) {
  struct stat link = {};
  struct stat folder = {};
  if (lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) return false;
  if (stat(path.c_str(), &folder) != 0 || !S_ISDIR(folder.st_mode)) return false;
  return LiesIn(path.substr(0, path.find_last_of('/') + 1) + ".", path);
}

}  // namespace tvl::cli
