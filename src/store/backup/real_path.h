#ifndef TVL_STORE_BACKUP_REAL_PATH_H
#define TVL_STORE_BACKUP_REAL_PATH_H

#include <string>

namespace tvl {

// Resolves the links in a path. Returns 0 or an errno value.
[[nodiscard]] int ResolvePath(const std::string& path, std::string& real);

// Stores whether `folder`, which need not exist, is `outer` or is in it, with links resolved. Both are full
// paths. Returns 0, or why `outer` cannot be examined.
[[nodiscard]] int FindInside(const std::string& folder, const std::string& outer, bool& is_inside);

}  // namespace tvl

#endif
