#ifndef TVL_CLI_DOCTOR_MOUNT_H
#define TVL_CLI_DOCTOR_MOUNT_H

#include <istream>
#include <optional>
#include <string>

#include "cli/doctor/finding.h"

namespace tvl::cli {

struct Mount {
  std::string place;
  std::string type;
  std::string options;  // of the mount and of the file system, separated by commas
};

// The mount that contains `folder`, a full path without links: the longest mount point that leads to it, and
// of two at one place the later, which hides the other. `mounts` has the form of /proc/self/mountinfo.
[[nodiscard]] std::optional<Mount> FindMount(std::istream& mounts, const std::string& folder);

// Whether locks and files on such a mount can be shared between computers.
[[nodiscard]] Finding JudgeMount(const Mount& mount);

}  // namespace tvl::cli

#endif
