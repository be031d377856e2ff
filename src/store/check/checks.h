#ifndef TVL_STORE_CHECK_CHECKS_H
#define TVL_STORE_CHECK_CHECKS_H

#include <string>
#include <vector>

#include <tvlclient/store.h>

#include "store/check/finding.h"
#include "store/check/scratch.h"

namespace tvl {

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
[[nodiscard]] const std::vector<Check<TVLStoreLayout>>& StoreChecks();

}  // namespace tvl

#endif
