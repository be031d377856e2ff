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

// Finds the mount of this computer that contains `folder`.
[[nodiscard]] std::optional<Mount> MountOf(const std::string& folder);

// Returns whether the files on such a mount have numbers that stay the same, and are the same on all
// computers.
[[nodiscard]] bool HasStableInodes(const Mount& mount);

// Returns whether a table may be a file there, with its rows in it. GlusterFS can lose what was written.
[[nodiscard]] bool CanHaveTableFiles(const Mount& mount);

// Judges whether computers can share locks and files on such a mount.
[[nodiscard]] Finding JudgeMount(const Mount& mount);

}  // namespace tvl

#endif
