#include <exception>
#include <string>
#include <vector>

#include <tvlclient/store.h>

#include "config/config.h"
#include "config/store_layout.h"
#include "frontend/store_problem.h"
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

using tvl::RunOnStore;
using tvl::StoreFailure;

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

}  // namespace

bool tvl::CreateLockTableAt(const char* path) {
  const TableEngineUse engine;
  return CCtreeFile::CreateFiles(path, kLockRecordLength, kLockKeyLength, 0) != 0;
}

StoreFailure tvl::ReadStoreAt(const char* configuration, TVLStoreLayout& layout) {
  CConfig config;
  TakeLastError();
  if (const int code = config.Read(configuration)) {
    const LastError reason = TakeLastError();
    return {code, "the configuration cannot be used", reason.code, reason.path};
  }
  return LayoutOf(config, layout);
}

StoreFailure tvl::CreateMissingAt(const TVLStoreLayout& layout, int group, const TVLDatabase* database) {
  ObeyTablesFile(layout.configuration, layout.locks);
  return CreateMissingParts(layout, group, database, CreateLockTableAt);
}

int TVLStorePlan(const char* folder, TVLStoreLayout* layout, TVLStoreProblem* problem) {
  return RunOnStore(problem, [=] { return tvl::PlanStore(folder, *layout); });
}

int TVLStoreRead(const char* configFile, TVLStoreLayout* layout, TVLStoreProblem* problem) {
  return RunOnStore(problem, [=] { return tvl::ReadStoreAt(configFile, *layout); });
}

int TVLStoreListMissing(const TVLStoreLayout* layout, TVLPathCallback callback, void* userData) {
  return Count([=] { return VisitPaths(tvl::MissingParts(*layout), callback, userData); });
}

int TVLStoreCreate(const TVLStoreLayout* layout, int groupId, TVLStoreProblem* problem) {
  return RunOnStore(problem, [=] { return tvl::CreateMissingAt(*layout, groupId, nullptr); });
}

int TVLStoreCreateInDatabase(const TVLStoreLayout* layout, int groupId, const TVLDatabase* database,
                             TVLStoreProblem* problem) {
  return RunOnStore(problem, [=] { return tvl::CreateMissingAt(*layout, groupId, database); });
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
  return RunOnStore(problem, [=] {
    const tvl::FindingReport report(callback, userData);
    StoreFailure failure = tvl::CheckShare(folder, store, scope, report);
    if (!failure && store != nullptr) tvl::CheckTables(*store, report);
    return failure;
  });
}

int TVLCheckShareWithPeer(const char* folder, const char* name, TVLFindingCallback callback, void* userData,
                          TVLStoreProblem* problem) {
  return RunOnStore(problem,
                    [=] { return tvl::RunPeerChecks(folder, name, tvl::FindingReport(callback, userData)); });
}
