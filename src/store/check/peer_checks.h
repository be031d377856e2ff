#ifndef TVL_STORE_CHECK_PEER_CHECKS_H
#define TVL_STORE_CHECK_PEER_CHECKS_H

#include <string>

#include "store/check/report.h"
#include "store/failure.h"

namespace tvl {

// Runs one half of the checks between two computers; the other half is the same command on the other one.
// Each half reports what it observed of the other. Fails if the other half does not answer.
[[nodiscard]] StoreFailure RunPeerChecks(const std::string& folder, const std::string& name,
                                         const FindingReport& report);

}  // namespace tvl

#endif
