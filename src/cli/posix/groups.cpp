#include "cli/groups.h"

#include <grp.h>

#include <charconv>

#include <tvlclient/store.h>

#include "cli/output/failure.h"

namespace tvl::cli {

int GroupNumber(const std::string& group) {
  if (group.empty()) return TVL_NO_GROUP;
  if (const struct group* found = getgrnam(group.c_str())) return static_cast<int>(found->gr_gid);
  int number = 0;
  const auto [end, problem] = std::from_chars(group.data(), group.data() + group.size(), number);
  if (problem != std::errc() || end != group.data() + group.size() || number < 0)
    throw Stop("there is no group '" + group + "'");
  return number;
}

}  // namespace tvl::cli
