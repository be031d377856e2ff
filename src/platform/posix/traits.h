#ifndef TVL_PLATFORM_POSIX_TRAITS_H
#define TVL_PLATFORM_POSIX_TRAITS_H

#include <sys/stat.h>

#include "platform/writing.h"

namespace tvl {

[[nodiscard]] SourceTraits TraitsOf(const struct stat& status);

}  // namespace tvl

#endif
