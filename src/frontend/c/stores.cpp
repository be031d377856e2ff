#include <string>

#include <tvlclient/store.h>
#include <tvlclient/tvlc.h>

#include "base/fixed_text.h"
#include "frontend/c/handle.h"
#include "platform/files.h"
#include "store/layout.h"

namespace {

using tvl::c::Failure;

Failure FailureOf(int code, const TVLStoreProblem& problem) {
  Failure failure = {code, {}, problem.what};
  failure.reason.code = problem.error;
  tvl::CopyCut(failure.reason.path, problem.path);
  return failure;
}

Failure MakeStore(const char* folder, int group_id) {
  if (folder == nullptr) return {TVL_ERR_ARGUMENT, {}, nullptr};
  TVLStoreLayout layout = {};
  TVLStoreProblem problem = {};
  int code = TVLStorePlan(folder, &layout, &problem);
  if (code == TVL_OK) code = TVLStoreCreate(&layout, group_id, &problem);
  return code == TVL_OK ? Failure() : FailureOf(code, problem);
}

struct Findings {
  tvlc_finding_callback callback;
  void* user_data;
};

void Pass(const TVLFinding* finding, void* data) {
  const Findings& findings = *static_cast<const Findings*>(data);
  const tvlc_finding passed = {sizeof passed,    finding->check,  finding->needed,
                               finding->verdict, finding->detail, finding->remedy};
  findings.callback(&passed, findings.user_data);
}

Failure CheckStore(const char* folder, int try_out, Findings& findings) {
  if (folder == nullptr || findings.callback == nullptr) return {TVL_ERR_ARGUMENT, {}, nullptr};
  const std::string configuration = std::string(folder) + "/" + tvl::kConfigurationName;
  TVLStoreLayout layout = {};
  TVLStoreProblem problem = {};
  const bool has_store = tvl::NameExists(configuration.c_str());
  int code = has_store ? TVLStoreRead(configuration.c_str(), &layout, &problem) : TVL_OK;
  if (code == TVL_OK) {
    code = TVLCheckShare(folder, has_store ? &layout : nullptr, try_out != 0 ? TVL_CHECK_TRY : TVL_CHECK_LOOK,
                         Pass, &findings, &problem);
  }
  return code == TVL_OK ? Failure() : FailureOf(code, problem);
}

}  // namespace

int tvlc_make_store(const char* folder, int group_id, tvlc_error* error) {
  return tvl::c::WithoutHandle(error, [&] { return MakeStore(folder, group_id); });
}

int tvlc_check_store(const char* folder, int try_out, tvlc_finding_callback callback, void* user_data,
                     tvlc_error* error) {
  Findings findings = {callback, user_data};
  return tvl::c::WithoutHandle(error, [&] { return CheckStore(folder, try_out, findings); });
}
