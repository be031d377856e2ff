#ifndef TVL_STORE_CHECK_MOUNT_H
#define TVL_STORE_CHECK_MOUNT_H

#include <istream>
#include <optional>
#include <string>

#include "store/check/finding.h"

namespace tvl {

struct Mount {
  std::string place;
  std::string type;
  std::string options;  // of the mount and of the file system, separated by commas
};

// Finds the mount that contains `folder`, a full path without links. The longest matching mount point wins;
// of two mounts at one place the later one, which hides the other. `mounts` has the format of
// /proc/self/mountinfo.
[[nodiscard]] std::optional<Mount> FindMount(std::istream& mounts, const std::string& folder);

// Judges whether computers can share locks and files on such a mount.
[[nodiscard]] Finding JudgeMount(const Mount& mount);

}  // namespace tvl

#endif
