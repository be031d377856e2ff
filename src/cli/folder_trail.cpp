#include "cli/folder_trail.h"

#include <algorithm>

namespace tvl::cli {

void Identities::Add(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) Add(status);
}

bool Identities::Hold(const struct stat& status) const {
  return std::find(known_.begin(), known_.end(), Identity{status.st_dev, status.st_ino}) != known_.end();
}

// Above a folder lie the folders that ".." leads to, which for one reached by a link aren't those of the
// walk. What is known already has its own known above it.
InFolder::InFolder(Identities& trail, const std::string& path) : trail_(trail), before_(trail.Count()) {
  struct stat status = {};
  for (std::string way = path; stat(way.c_str(), &status) == 0 && !trail_.Hold(status); way += "/..")
    trail_.Add(status);
}

}  // namespace tvl::cli
