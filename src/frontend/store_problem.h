#ifndef TVL_FRONTEND_STORE_PROBLEM_H
#define TVL_FRONTEND_STORE_PROBLEM_H

#include <cerrno>
#include <filesystem>
#include <new>

#include <tvlclient/store.h>

#include "base/fixed_text.h"
#include "store/failure.h"

namespace tvl {

// Copies what failed for the caller, and returns its code.
inline int ReportProblem(const StoreFailure& failure, TVLStoreProblem* problem) {
  if (problem == nullptr) return failure.code;
  problem->what = failure.what;
  problem->error = failure.error;
  CopyCut(problem->path, failure.path);
  return failure.code;
}

// Runs an operation on a store, whose lack of memory is one more failure.
template <typename Operation>
int RunOnStore(TVLStoreProblem* problem, Operation operation) try {
  return ReportProblem(operation(), problem);
} catch (const std::bad_alloc&) {
  if (problem != nullptr) *problem = {"memory ran out", ENOMEM, {}};
  return TVL_ERR_SERVER_FILE;
} catch (const std::filesystem::filesystem_error& error) {
  if (problem != nullptr) *problem = {"the file system cannot be read", error.code().value(), {}};
  return TVL_ERR_SERVER_FILE;
}

// Creates a lock table at a path of the host.
[[nodiscard]] bool CreateLockTableAt(const char* path);

// Reads a configuration and describes its store.
[[nodiscard]] StoreFailure ReadStoreAt(const char* configuration, TVLStoreLayout& layout);

// Creates the parts of the store that do not exist, with a lock table where its tables.ini says. `database`,
// unless null: a new store gets a tables.ini that names this server.
[[nodiscard]] StoreFailure CreateMissingAt(const TVLStoreLayout& layout, int group,
                                           const TVLDatabase* database);

}  // namespace tvl

#endif
