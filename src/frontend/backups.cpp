#include <functional>
#include <string>

#include <tvlclient/store.h>

#include "frontend/store_problem.h"
#include "platform/files.h"
#include "store/backup/backup.h"
#include "store/backup/restore.h"
#include "store/host_name.h"
#include "table/engine_binding.h"

namespace {

using tvl::StoreFailure;

constexpr int kMostTries = 10;

// A table that is open for reading as long as this object exists.
class OpenTable {
 public:
  explicit OpenTable(const std::string& path) : handle_(tvl::engine::Open(path.c_str())) {}
  ~OpenTable() {
    if (handle_ >= 0) tvl::engine::Close(handle_);
  }
  OpenTable(const OpenTable&) = delete;
  OpenTable& operator=(const OpenTable&) = delete;

  [[nodiscard]] int Handle() const { return handle_; }

 private:
  int handle_;
};

StoreFailure TableFailure(tvl::TableProblem problem, const std::string& path) {
  const bool is_busy = problem == tvl::TableProblem::kBusy;
  return {
      TVL_ERR_SERVER_FILE,
      is_busy ? "a program kept the table locked for 10 s" : "the table cannot be opened and may be damaged",
      0, path};
}

// Copies a table while a read batch keeps all writers out, so its file is complete and does not change. A
// table that has been deleted is left out. While it is open here, nobody can replace it.
StoreFailure CopyAtRest(const std::string& path, const std::function<StoreFailure()>& copy) {
  for (int tries = 0; tries < kMostTries; ++tries) {
    const OpenTable table(path);
    if (table.Handle() < 0 && !tvl::NameExists(path.c_str())) return {};
    if (table.Handle() < 0) return TableFailure(tvl::engine::LastProblem(), path);
    tvl::TableBatch batch(table.Handle(), tvl::TableBatch::Kind::kRead);
    if (!batch.HasBegun()) return TableFailure(batch.Problem(), path);
    if (!batch.StillNamed()) continue;
    StoreFailure failure = copy();
    static_cast<void>(batch.End());
    return failure;
  }
  return {TVL_ERR_SERVER_FILE, "the table is replaced all the time", 0, path};
}

tvl::TreeCopy::Report ReportTo(TVLBackupCallback callback, void* user_data) {
  return [=](const std::string& name, TVL_BACKUP_KIND kind, std::uint64_t size) {
    const TVLBackupEntry entry = {name.c_str(), kind, size};
    if (callback != nullptr) callback(&entry, user_data);
  };
}

}  // namespace

int TVLStoreBackup(const TVLStoreLayout* layout, const char* folder, TVL_BACKUP_SCOPE scope,
                   TVLBackupCallback callback, void* userData, TVLStoreProblem* problem) {
  return tvl::RunOnStore(problem, [=] {
    const tvl::TableEngineUse engine;
    LoadTableEngine();
    const auto copy_table = [layout](const std::string& name, const std::function<StoreFailure()>& copy) {
      return CopyAtRest(tvl::InHostFolder(layout->root, name), copy);
    };
    return tvl::BackUpStore(*layout, folder, scope, copy_table, ReportTo(callback, userData));
  });
}

int TVLStoreRestore(const char* backup, const char* folder, TVL_BACKUP_SCOPE scope, TVLStoreLayout* layout,
                    TVLBackupCallback callback, void* userData, TVLStoreProblem* problem) {
  return tvl::RunOnStore(problem, [=] {
    const tvl::RestoreServices services = {tvl::ReadStoreAt, [](const TVLStoreLayout& part) {
                                             return tvl::CreateMissingAt(part, TVL_NO_GROUP, nullptr);
                                           }};
    return tvl::RestoreStore(backup, folder, scope, *layout, services, ReportTo(callback, userData));
  });
}
