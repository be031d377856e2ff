#ifndef TVL_CLI_DOCTOR_PEER_CHECKS_H
#define TVL_CLI_DOCTOR_PEER_CHECKS_H

#include <string>

#include "cli/doctor/report.h"

namespace tvl::cli {

// Runs this half of the checks between two computers. The same command on the other computer is the other
// half. Each half reports what it observed of the other. Throws Stop if the other half does not answer.
void RunPeerChecks(const std::string& folder, const std::string& name, Report& report);

}  // namespace tvl::cli

#endif
