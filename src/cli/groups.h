#ifndef TVL_CLI_GROUPS_H
#define TVL_CLI_GROUPS_H

#include <string>

namespace tvl::cli {

// Returns the number of a group of users by its name or number, or TVL_NO_GROUP for an empty text. Throws
// Stop if there is no such group.
[[nodiscard]] int GroupNumber(const std::string& group);

}  // namespace tvl::cli

#endif
