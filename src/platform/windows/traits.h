#ifndef TVL_PLATFORM_WINDOWS_TRAITS_H
#define TVL_PLATFORM_WINDOWS_TRAITS_H

#include "platform/windows/times.h"
#include "platform/writing.h"

namespace tvl {

[[nodiscard]] SourceTraits TraitsOf(const native::Status& status);

}  // namespace tvl

#endif
