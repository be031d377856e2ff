#include <sys/stat.h>

#include <iterator>
#include <string>
#include <vector>

#include "host/system_calls.h"
#include "store/check/checks.h"
#include "store/leftovers.h"
#include "store/new_store.h"

namespace tvl {
namespace {

Finding CheckParts(const TVLStoreLayout& layout) {
  const std::vector<std::string> missing = MissingParts(layout);
  if (missing.empty()) return Good("complete");
  return Bad(missing.front() + " is missing" + (missing.size() > 1 ? ", and other parts" : ""),
             "run 'tvl doctor --fix' to create it; no client may be connected");
}

Finding CheckSafety(const TVLStoreLayout& layout) {
  if (layout.safety >= 2) return Good("2, whole files, synced");
  if (layout.safety == 1) return Good("1, whole files");
  return Warn("0, written in place: a killed transfer leaves part of a file",
              "set SafeOnTransfert=2 in tvl.ini");
}

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

Finding CheckLeftovers(const TVLStoreLayout& layout) {
  const std::vector<std::string> found = FindLeftovers(layout);
  if (found.empty()) return Good("killed programs left nothing");
  const std::string count = found.size() == 1 ? "1 file" : std::to_string(found.size()) + " files";
  return Warn(count + " left by killed programs, such as " + found.front(),
              "run 'tvl doctor --fix' to remove what nobody uses");
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
