#ifndef TVL_STORE_CHECK_CHECK_SHARE_H
#define TVL_STORE_CHECK_CHECK_SHARE_H

#include <string>

#include <tvlclient/store.h>

#include "store/check/report.h"
#include "store/failure.h"

namespace tvl {

// Runs the checks of a folder, and of the store in it if there is one. Fails if `folder` is not a folder, or
// if nothing can be written in it.
[[nodiscard]] StoreFailure CheckShare(const std::string& folder, const TVLStoreLayout* store,
                                      TVL_CHECK_SCOPE scope, const FindingReport& report);

}  // namespace tvl

#endif
