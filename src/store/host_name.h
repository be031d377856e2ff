#ifndef TVL_STORE_HOST_NAME_H
#define TVL_STORE_HOST_NAME_H

#include <string>
#include <string_view>

namespace tvl {

// `name` in `folder`, a path of the host.
[[nodiscard]] inline std::string InHostFolder(std::string folder, std::string_view name) {
  if (!folder.ends_with('/')) folder += '/';
  return folder.append(name);
}

}  // namespace tvl

#endif
