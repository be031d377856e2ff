#include <cerrno>
#include <exception>
#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include <tvlclient/store.h>

#include "base/fixed_text.h"
#include "config/config.h"
#include "config/store_layout.h"
#include "frontend/table_checks.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "store/check/check_share.h"
#include "store/check/peer_checks.h"
#include "store/file_kind.h"
#include "store/held_files.h"
#include "store/leftovers.h"
#include "store/lock_row.h"
#include "store/marker_info.h"
#include "store/new_store.h"
#include "table/ctree_file.h"
#include "table/engine_binding.h"
#include "table/tables_file.h"

namespace {

using tvl::StoreFailure;

// Copies what failed for the caller, and returns its code.
int Report(const StoreFailure& failure, TVLStoreProblem* problem) {
  if (problem == nullptr) return failure.code;
  problem->what = failure.what;
  problem->error = failure.error;
  tvl::CopyCut(problem->path, failure.path);
  return failure.code;
}

// Runs an operation, whose lack of memory is one more failure.
template <typename Operation>
int Run(TVLStoreProblem* problem, Operation operation) try {
  return Report(operation(), problem);
} catch (const std::bad_alloc&) {
  if (problem != nullptr) *problem = {"memory ran out", ENOMEM, {}};
  return TVL_ERR_SERVER_FILE;
} catch (const std::filesystem::filesystem_error& error) {
  if (problem != nullptr) *problem = {"the file system cannot be read", error.code().value(), {}};
  return TVL_ERR_SERVER_FILE;
}

// Runs a listing. Returns what it counted, or -1 if it could not be completed.
template <typename Listing>
int Count(Listing listing) try {
  return listing();
} catch (const std::exception&) {
  return -1;
}

int VisitPaths(const std::vector<std::string>& paths, TVLPathCallback callback, void* user_data) {
  for (const std::string& path : paths) {
    if (callback != nullptr) callback(path.c_str(), user_data);
  }
  return static_cast<int>(paths.size());
}

StoreFailure ReadStore(const char* file, TVLStoreLayout& layout) {
  CConfig config;
  tvl::TakeLastError();
  if (const int code = config.Read(file)) {
    const tvl::LastError reason = tvl::TakeLastError();
    return {code, "the configuration cannot be used", reason.code, reason.path};
  }
  return tvl::LayoutOf(config, layout);
}

bool CreateLockTable(const char* path) {
  const tvl::TableEngineUse engine;
  return CCtreeFile::CreateFiles(path, kLockRecordLength, kLockKeyLength, 0) != 0;
}

}  // namespace

int TVLStorePlan(const char* folder, TVLStoreLayout* layout, TVLStoreProblem* problem) {
  return Run(problem, [=] { return tvl::PlanStore(folder, *layout); });
}

int TVLStoreRead(const char* configFile, TVLStoreLayout* layout, TVLStoreProblem* problem) {
  return Run(problem, [=] { return ReadStore(configFile, *layout); });
}

int TVLStoreListMissing(const TVLStoreLayout* layout, TVLPathCallback callback, void* userData) {
  return Count([=] { return VisitPaths(tvl::MissingParts(*layout), callback, userData); });
}

int TVLStoreCreate(const TVLStoreLayout* layout, int groupId, TVLStoreProblem* problem) {
  return Run(problem, [=] {
    tvl::ObeyTablesFile(layout->configuration, layout->locks);
    return tvl::CreateMissingParts(*layout, groupId, nullptr, CreateLockTable);
  });
}

int TVLStoreCreateInDatabase(const TVLStoreLayout* layout, int groupId, const TVLDatabase* database,
                             TVLStoreProblem* problem) {
  return Run(problem, [=] {
    tvl::ObeyTablesFile(layout->configuration, layout->locks);
    return tvl::CreateMissingParts(*layout, groupId, database, CreateLockTable);
  });
}

TVL_FILE_KIND TVLStoreFileKind(const char* name) {
  return tvl::FileKindOf(name);
}

int TVLListHeldFiles(const char* path, TVLHeldFileCallback callback, void* userData) {
  return Count([=] {
    const std::vector<std::string> held = tvl::HeldFilesAt(path);
    for (const std::string& file : held) {
      if (callback == nullptr) break;
      const tvl::MarkerInfo marker(file.substr(file.rfind('/') + 1));
      const TVL_FILE_KIND kind = tvl::FileKindOf(file);
      const TVLHeldFile row = {file.c_str(), kind, kind == TVL_FILE_MARKER ? &marker.Instance() : nullptr};
      callback(&row, userData);
    }
    return static_cast<int>(held.size());
  });
}

int TVLStoreListLeftovers(const TVLStoreLayout* layout, TVLPathCallback callback, void* userData) {
  return Count([=] { return VisitPaths(tvl::FindLeftovers(*layout), callback, userData); });
}

int TVLStoreRemoveLeftovers(const TVLStoreLayout* layout, TVLPathCallback callback, void* userData) {
  return Count([=] {
    std::vector<std::string> found = tvl::FindLeftovers(*layout);
    std::erase_if(found, [](const std::string& path) { return DeleteFileA(path.c_str()) == 0; });
    return VisitPaths(found, callback, userData);
  });
}

int TVLCheckShare(const char* folder, const TVLStoreLayout* store, TVL_CHECK_SCOPE scope,
                  TVLFindingCallback callback, void* userData, TVLStoreProblem* problem) {
  return Run(problem, [=] {
    const tvl::FindingReport report(callback, userData);
    StoreFailure failure = tvl::CheckShare(folder, store, scope, report);
    if (!failure && store != nullptr) tvl::CheckTables(*store, report);
    return failure;
  });
}

int TVLCheckShareWithPeer(const char* folder, const char* name, TVLFindingCallback callback, void* userData,
                          TVLStoreProblem* problem) {
  return Run(problem,
             [=] { return tvl::RunPeerChecks(folder, name, tvl::FindingReport(callback, userData)); });
}
