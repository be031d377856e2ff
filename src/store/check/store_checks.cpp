#include <sys/stat.h>

#include <iterator>
#include <string>
#include <vector>

#include "host/system_calls.h"
#include "store/check/checks.h"
#include "store/check/parts.h"

namespace tvl {
namespace {

// In a sticky folder nobody can remove the marker of another user's dead client.
Finding CheckSticky(const TVLStoreLayout& layout) {
  for (const char* folder : {layout.procs, layout.locks, layout.tmp}) {
    struct stat status = {};
    if (System().stat(folder, &status) == 0 && (status.st_mode & S_ISVTX) != 0)
      return Bad(std::string(folder) + " is sticky: locks of another user's dead client stay",
                 std::string("run chmod -t ") + folder);
  }
  return Good("every user can remove what a dead client left");
}

}  // namespace

const std::vector<Check<TVLStoreLayout>>& StoreChecks() {
  static const std::vector<Check<TVLStoreLayout>> checks = {
      {"parts of the store", true, CheckParts},
      {"SafeOnTransfert", false, CheckSafety},
      {"sticky folders", true, CheckSticky},
      {"leftovers", false, CheckLeftovers},
  };
  return checks;
}

}  // namespace tvl
