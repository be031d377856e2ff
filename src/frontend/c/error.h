#ifndef TVL_FRONTEND_C_ERROR_H
#define TVL_FRONTEND_C_ERROR_H

#include <tvlclient/tvlc.h>

#include "platform/last_error.h"

namespace tvl::c {

// A failed call: its code, the system's reason, and what failed if this is known better than by the code.
struct Failure {
  int code = TVL_OK;
  LastError reason = {};
  const char* what = nullptr;  // static
};

// Copies a failure to a caller's structure, which may be null. Returns its code.
int Report(const Failure& failure, tvlc_error* error);

// Returns what a server's reason for a refusal means, or null. `reason` may be null.
[[nodiscard]] const char* MeaningOfRefusal(const char* reason);

}  // namespace tvl::c

#endif
