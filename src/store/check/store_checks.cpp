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
  if (missing.empty()) return Good("all there");
  return Bad(missing.front() + " is missing" + (missing.size() > 1 ? ", and other parts" : ""),
             "tvl init --missing, or tvl doctor --fix");
}

Finding CheckSafety(const TVLStoreLayout& layout) {
  if (layout.safety >= 2) return Good("2, whole files, synced");
  if (layout.safety == 1) return Good("1, whole files");
  return Warn("0, written in place: a killed transfer leaves part of a file", "SafeOnTransfert=2 in tvl.ini");
}

// In a sticky folder nobody can remove the marker of another user's dead client.
Finding CheckSticky(const TVLStoreLayout& layout) {
  for (const char* folder : {layout.procs, layout.locks, layout.tmp}) {
    struct stat status = {};
    if (System().stat(folder, &status) == 0 && (status.st_mode & S_ISVTX) != 0)
      return Bad(std::string(folder) + " is sticky: locks of another user's dead client stay",
                 std::string("chmod -t ") + folder);
  }
  return Good("every user can remove what a dead client left");
}

Finding CheckLeftovers(const TVLStoreLayout& layout) {
  const std::vector<std::string> parts = FindLeftovers(layout.root);
  if (parts.empty()) return Good("no transfer left a part");
  const std::string count =
      parts.size() == 1 ? "1 partial file" : std::to_string(parts.size()) + " partial files";
  return Warn(count + " of killed transfers, such as " + parts.front(), "tvl doctor --fix removes them");
}

}  // namespace

const std::vector<Check<TVLStoreLayout>>& StoreChecks() {
  static const std::vector<Check<TVLStoreLayout>> checks = {
      {"parts of the store", true, CheckParts},
      {"SafeOnTransfert", false, CheckSafety},
      {"sticky folders", true, CheckSticky},
      {"killed transfers", false, CheckLeftovers},
  };
  return checks;
}

}  // namespace tvl
