#ifndef TVL_STORE_FILE_KIND_H
#define TVL_STORE_FILE_KIND_H

#include <string_view>

#include <tvlclient/store.h>

namespace tvl {

// What a file of a store is, by its path or bare name.
[[nodiscard]] TVL_FILE_KIND FileKindOf(std::string_view path);

}  // namespace tvl

#endif
