#ifndef TVL_CLI_DOCTOR_CHECKS_H
#define TVL_CLI_DOCTOR_CHECKS_H

#include <string>
#include <vector>

#include "cli/doctor/finding.h"
#include "cli/doctor/scratch.h"
#include "cli/new_store.h"

namespace tvl::cli {

// A check by its name. `needed`: presence and locks cannot be trusted without it.
template <typename Subject>
struct Check {
  const char* name;
  bool needed;
  Finding (*run)(const Subject&);
};

// Two processes of this computer, and files in a folder of their own.
[[nodiscard]] const std::vector<Check<Scratch>>& ScratchChecks();

// A folder, as it is; a full path without links.
[[nodiscard]] const std::vector<Check<std::string>>& FolderChecks();

// A store.
[[nodiscard]] const std::vector<Check<StoreLayout>>& StoreChecks();

// Files of transfers that were killed, which nobody holds.
[[nodiscard]] std::vector<std::string> DeadParts(const StoreLayout& layout);

}  // namespace tvl::cli

#endif
