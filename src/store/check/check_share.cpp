#include "store/check/check_share.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "host/system_calls.h"
#include "store/check/checks.h"
#include "store/host_name.h"
#include "store/layout.h"

namespace tvl {
namespace {

StoreFailure CheckFolder(const std::string& folder) {
  struct stat status = {};
  if (System().stat(folder.c_str(), &status) != 0)
    return {TVL_ERR_SERVER_FILE, "no such folder", errno, folder};
  if (!S_ISDIR(status.st_mode)) return {TVL_ERR_SERVER_FILE, "is not a folder", 0, folder};
  return {};
}

// The library reaches only paths of 259 bytes without backslashes, so the checks could not work on others.
Finding CheckPath(const std::string& folder, bool has_store) {
  const std::string procs = InHostFolder(InHostFolder(folder, kTmpName), kProcsName);
  const std::size_t marker = procs.size() + 1 + kLongestMarkerName;
  if (folder.find('\\') != std::string::npos)
    return Bad("contains a backslash, which a store takes for a separator",
               "rename the folder to a name without backslashes");
  if (folder.size() > Scratch::kLongestFolder || (!has_store && marker > kLongestPath))
    return Bad(std::to_string(folder.size()) + " bytes are too many for the path of a store",
               "move the store to a folder with a shorter path");
  return Good(folder);
}

template <typename Subject>
void RunChecks(const std::vector<Check<Subject>>& checks, const Subject& subject,
               const FindingReport& report) {
  for (const Check<Subject>& check : checks) report.Add(check.name, check.needed, check.run(subject));
}

}  // namespace

StoreFailure CheckShare(const std::string& given, const TVLStoreLayout* store, TVL_CHECK_SCOPE scope,
                        const FindingReport& report) {
  if (StoreFailure failure = CheckFolder(given)) return failure;
  std::error_code problem;
  const std::string folder = std::filesystem::canonical(given, problem).string();
  if (problem) return {TVL_ERR_SERVER_FILE, "no such folder", problem.value(), given};
  const Finding path = CheckPath(folder, store != nullptr);
  report.Add("path", true, path);
  if (scope == TVL_CHECK_TRY && path.verdict == TVL_VERDICT_OK) {
    const Scratch scratch(folder);
    if (scratch.Problem() != 0)
      return {TVL_ERR_CREATE_DIR, "nothing can be written", scratch.Problem(), folder};
    RunChecks(ScratchChecks(), scratch, report);
  }
  RunChecks(FolderChecks(), folder, report);
  if (store != nullptr) RunChecks(StoreChecks(), *store, report);
  return {};
}

}  // namespace tvl
