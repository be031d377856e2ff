#ifndef TVL_CLI_DOCTOR_CHECKS_H
#define TVL_CLI_DOCTOR_CHECKS_H

#include <string>
#include <vector>

#include "cli/doctor/finding.h"
#include "cli/doctor/scratch.h"
#include "cli/new_store.h"

namespace tvl::cli {

// One check. Presence and locks are not reliable if a `needed` one fails.
template <typename Subject>
struct Check {
  const char* name;
  bool needed;
  Finding (*run)(const Subject&);
};

// Checks that use a scratch folder and a second process on this computer.
[[nodiscard]] const std::vector<Check<Scratch>>& ScratchChecks();

// Checks of an existing folder, which is a full path without links.
[[nodiscard]] const std::vector<Check<std::string>>& FolderChecks();

// Checks of a store.
[[nodiscard]] const std::vector<Check<StoreLayout>>& StoreChecks();

// Returns the partial files that killed transfers left, as no process holds them.
[[nodiscard]] std::vector<std::string> DeadParts(const StoreLayout& layout);

}  // namespace tvl::cli

#endif
