#include "store/check/parts.h"

#include <string>
#include <vector>

#include "store/leftovers.h"
#include "store/new_store.h"

namespace tvl {

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

Finding CheckLeftovers(const TVLStoreLayout& layout) {
  const std::vector<std::string> found = FindLeftovers(layout);
  if (found.empty()) return Good("killed programs left nothing");
  const std::string count = found.size() == 1 ? "1 file" : std::to_string(found.size()) + " files";
  return Warn(count + " left by killed programs, such as " + found.front(),
              "run 'tvl doctor --fix' to remove what nobody uses");
}

}  // namespace tvl
