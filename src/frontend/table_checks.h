#ifndef TVL_FRONTEND_TABLE_CHECKS_H
#define TVL_FRONTEND_TABLE_CHECKS_H

#include <tvlclient/store.h>

#include "store/check/report.h"

namespace tvl {

// Adds the findings about where a store's tables are: none if they are files on a share that can have them.
void CheckTables(const TVLStoreLayout& store, const FindingReport& report);

}  // namespace tvl

#endif
