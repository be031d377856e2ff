#include "cli/locks/glob.h"

#include <fnmatch.h>

namespace tvl::cli {

bool MatchesGlob(const std::string& pattern, const std::string& text) {
  return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

}  // namespace tvl::cli
