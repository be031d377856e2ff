#include "cli/groups.h"

#include <tvlclient/store.h>

#include "cli/output/failure.h"

namespace tvl::cli {

// Who may do what is decided by access lists, which an administrator sets.
int GroupNumber(const std::string& group) {
  if (group.empty()) return TVL_NO_GROUP;
  throw Stop("--group is not available on Windows", "set the access list of the folder before 'tvl init'");
}

}  // namespace tvl::cli
