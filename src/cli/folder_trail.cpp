#include "cli/folder_trail.h"

#include <algorithm>

#include "cli/file_status.h"
#include "cli/host_path.h"

namespace tvl::cli {

void Identities::Add(const std::string& path) {
  if (const auto status = StatusOf(path)) Add(*status);
}

bool Identities::Hold(const FileStatus& status) const {
  return std::find(known_.begin(), known_.end(), status.identity) != known_.end();
}

// The parents are those that ".." leads to. For a folder reached by a link they are not the folders of the
// walk. The parents of a folder that is already known are known too.
InFolder::InFolder(Identities& trail, const std::string& path) : trail_(trail), before_(trail.Count()) {
  auto status = StatusOf(path);
  for (std::string way = path; status && !trail_.Hold(*status); status = StatusOf(way)) {
    trail_.Add(*status);
    way += "/..";
  }
}

bool LiesIn(const std::string& path, const std::string& folder) {
  std::string there = path;
  auto status = StatusOf(there);
  for (; !status; status = StatusOf(there)) {
    if (there.find('/') == std::string::npos || there == FolderOf(there)) return false;
    there = FolderOf(there);
  }
  const auto wanted = StatusOf(folder);
  if (!wanted) return false;
  if (!status->IsFolder()) {
    if (status->identity == wanted->identity) return true;
    there = there.substr(0, there.find_last_of('/') + 1) + ".";
  }
  Identities trail;
  const InFolder here(trail, there);
  return trail.Hold(*wanted);
}

bool LeadsBack(const std::string& path) {
  return IsLink(path) && IsFolder(path) && LiesIn(path.substr(0, path.find_last_of('/') + 1) + ".", path);
}

}  // namespace tvl::cli
