#ifndef TVL_CLI_TREES_SYNC_SCOPE_H
#define TVL_CLI_TREES_SYNC_SCOPE_H

#include <string>

#include "cli/names.h"

namespace tvl::cli {

// What a synchronization concerns.
struct SyncScope {
  Direction direction = Direction::kGet;
  std::string remote;
  std::string local;
  std::string pattern = "*.*";
  std::string exclude;  // kinds of files, separated by commas
  bool remove = false;  // delete names that are only on the target
  bool follow = false;  // links may lead out of the target
};

}  // namespace tvl::cli

#endif
