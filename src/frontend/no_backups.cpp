#include <tvlclient/store.h>

#include "frontend/store_problem.h"

// For systems on which stores are not backed up.

namespace {

int NotOffered(const char* folder, TVLStoreProblem* problem) {
  return tvl::RunOnStore(problem, [=] {
    return tvl::StoreFailure{TVL_ERR_NOT_SUPPORTED, "stores are backed up and restored on Linux only", 0,
                             folder};
  });
}

}  // namespace

int TVLStoreBackup(const TVLStoreLayout* /*layout*/, const char* folder, TVL_BACKUP_SCOPE /*scope*/,
                   TVLBackupCallback /*callback*/, void* /*userData*/, TVLStoreProblem* problem) {
  return NotOffered(folder, problem);
}

int TVLStoreRestore(const char* /*backup*/, const char* folder, TVL_BACKUP_SCOPE /*scope*/,
                    TVLStoreLayout* /*layout*/, TVLBackupCallback /*callback*/, void* /*userData*/,
                    TVLStoreProblem* problem) {
  return NotOffered(folder, problem);
}
