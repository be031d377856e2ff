#include "store/check/check_share.h"
#include "store/check/peer_checks.h"

// For systems on which the checks of a share do not run.

namespace tvl {
namespace {

StoreFailure NotOffered(const std::string& folder) {
  return {TVL_ERR_SERVER_FILE, "the checks of a share run on Linux only", 0, folder};
}

}  // namespace

StoreFailure CheckShare(const std::string& folder, const TVLStoreLayout* /*store*/, TVL_CHECK_SCOPE /*scope*/,
                        const FindingReport& /*report*/) {
  return NotOffered(folder);
}

StoreFailure RunPeerChecks(const std::string& folder, const std::string& /*name*/,
                           const FindingReport& /*report*/) {
  return NotOffered(folder);
}

}  // namespace tvl
