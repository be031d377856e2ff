#ifndef TVL_STORE_BACKUP_NEW_PLACE_H
#define TVL_STORE_BACKUP_NEW_PLACE_H

#include <string>
#include <string_view>

namespace tvl {

// Returns a configuration with the paths of another store: every DocumentRoot, in any section, becomes
// `root`, and every TmpDir the default in it. A store must never share its temporary folder with the one that
// it was copied from. All other bytes are unchanged.
[[nodiscard]] std::string ConfigurationAt(const std::string& root, std::string_view contents);

}  // namespace tvl

#endif
