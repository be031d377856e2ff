#include "cli/layout.h"

#include <tvlclient/tvl.h>

#include "cli/configuration.h"
#include "cli/groups.h"
#include "cli/output/failure.h"

namespace tvl::cli {
namespace {

Failure FailureOf(const TVLStoreProblem& problem) {
  return {kFailed, 0, problem.what, problem.error, problem.path};
}

void CheckCreated(int code, const TVLStoreLayout& layout, const TVLStoreProblem& problem) {
  if (code == TVL_OK) return;
  Failure failure = FailureOf(problem);
  if (code == TVL_ERR_STORE_IN_USE) failure.exit = kHeld;
  if (code == TVL_ERR_DELETE_FILE) {  // of the table
    failure.code = code;
    if (const std::string reason = TVLLastTableFailure(); !reason.empty())
      failure.what = "the lock table cannot be created; " + reason;
  }
  throw Stop(code == TVL_ERR_STORE_IN_USE ? layout.root : std::string(), failure);
}

}  // namespace

TVLStoreLayout NewLayout(const std::string& folder) {
  TVLStoreLayout layout;
  TVLStoreProblem problem;
  const int code = TVLStorePlan(folder.c_str(), &layout, &problem);
  if (code == TVL_OK) return layout;
  Failure failure = FailureOf(problem);
  if (code == TVL_ERR_STORE_EXISTS) failure.hint = "use --missing to create what a store lacks";
  throw Stop(code == TVL_ERR_BAD_PATH ? folder : std::string(), failure);
}

TVLStoreLayout LayoutOf(const std::string& configuration) {
  TVLStoreLayout layout;
  TVLStoreProblem problem;
  const int code = TVLStoreRead(configuration.c_str(), &layout, &problem);
  if (code == TVL_OK) return layout;
  if (code == TVL_ERR_BAD_PATH) throw Stop({}, FailureOf(problem));
  Failure failure = ConfigurationFailure(code);
  failure.error = problem.error;
  failure.path = problem.path;
  throw Stop(configuration, failure);
}

std::optional<std::string> ConfigurationIn(const std::string& folder) {
  TVLStoreLayout layout;
  if (TVLStorePlan(folder.c_str(), &layout, nullptr) != TVL_ERR_STORE_EXISTS) return std::nullopt;
  return layout.configuration;
}

TVLStoreLayout LayoutAt(const std::string& folder) {
  const std::optional<std::string> configuration = ConfigurationIn(folder);
  return configuration ? LayoutOf(*configuration) : NewLayout(folder);
}

std::vector<std::string> MissingParts(const TVLStoreLayout& layout) {
  std::vector<std::string> missing;
  TVLStoreListMissing(
      &layout,
      [](const char* path, void* list) { static_cast<std::vector<std::string>*>(list)->emplace_back(path); },
      &missing);
  return missing;
}

void CreateMissingParts(const TVLStoreLayout& layout, const std::string& group) {
  TVLStoreProblem problem;
  CheckCreated(TVLStoreCreate(&layout, GroupNumber(group), &problem), layout, problem);
}

void CreateInDatabase(const TVLStoreLayout& layout, const std::string& group, const TVLDatabase& database) {
  TVLStoreProblem problem;
  CheckCreated(TVLStoreCreateInDatabase(&layout, GroupNumber(group), &database, &problem), layout, problem);
}

}  // namespace tvl::cli
