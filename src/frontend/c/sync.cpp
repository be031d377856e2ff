#include <new>
#include <string>
#include <vector>

#include <tvlclient/tvlc.h>

#include "frontend/c/handle.h"
#include "frontend/c/long_work.h"
#include "frontend/c/paths.h"
#include "frontend/c/structs.h"

namespace {

using tvl::c::Failure;
using tvl::c::LongWork;
using tvl::c::OnDirectory;
using tvl::c::OnHandle;
using tvl::c::ReadOnly;
using tvl::c::Slashed;

// An entry, kept after the connection has carried out and forgotten its plan.
struct Entry {
  int operation;
  std::string source;
  std::string target;
  std::uint64_t bytes;
  bool is_removed = false;
  bool is_done = false;
  Failure result = {};
};

}  // namespace

struct tvlc_sync {
  std::shared_ptr<tvl::c::Connection> connection;
  std::vector<Entry> entries;  // those of the connection, then the names that were left out
  bool is_open = true;         // the connection has the plan
};

namespace {

using Plan = int (CTVLClientOpr::*)(char*, char*, char*, SYNC_DIR_FILE_EXCLUDE, unsigned int*);

Entry EntryOf(const CTVLClientSmbOpr& client, int index) {
  const char* source = nullptr;
  const char* target = nullptr;
  unsigned int low_bytes = 0;
  SYNC_DIR_FILE_OPERATION operation = SYNC_DIR_FILE_KEEP;
  client.SyncPlanEntry(index, &source, &target, &low_bytes, &operation);
  SYNC_PLAN_KIND kind = SYNC_PLAN_UNKNOWN;
  unsigned long long bytes = 0;
  client.SyncPlanSource(index, &kind, &bytes);
  return {operation, Slashed(source), Slashed(target), bytes};
}

// Adds the names that the plan had to omit. Their own backslashes are part of the name.
void AddLeftOut(const CTVLClientSmbOpr& client, std::vector<Entry>& entries) {
  const char* folder = nullptr;
  const char* name = nullptr;
  TVL_LEFT_OUT reason = TVL_LEFT_OUT_NOT;
  int in_target = 0;
  for (int index = 0; client.SyncPlanLeftOut(index, &folder, &name, &reason, &in_target) != 0; ++index) {
    const std::string path = Slashed(folder) + "/" + name;
    entries.push_back({TVLC_SYNC_LEFT_OUT, in_target != 0 ? "" : path, in_target != 0 ? path : "", 0});
  }
}

void Describe(const CTVLClientSmbOpr& client, std::vector<Entry>& entries) {
  const int count = client.SyncPlanCount();
  entries.reserve(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) entries.push_back(EntryOf(client, index));
  if (client.DumbMode() != 1) AddLeftOut(client, entries);
}

// Shared by pull and push. If it fails, the connection has no plan.
int Open(tvlc_store* store, Plan plan, const char* name, const char* local, const char* pattern, int exclude,
         tvlc_sync** sync) {
  return OnDirectory(store, {name, local, sync}, [&](CTVLClientSmbOpr& client) -> int {
    tvl::c::Connection& connection = *store->connection;
    if (connection.has_plan) return TVL_ERR_BUSY;
    auto opened = std::make_unique<tvlc_sync>();
    opened->connection = store->connection;
    const LongWork work(connection, nullptr, nullptr);
    client.SyncPlanDrop();
    client.SyncPlanFoldersLater(1);
    client.SyncPlanSetTimes(1);
    unsigned int low_total = 0;
    const int code =
        (client.*plan)(ReadOnly(name), ReadOnly(local), ReadOnly(pattern != nullptr ? pattern : "*.*"),
                       static_cast<SYNC_DIR_FILE_EXCLUDE>(exclude), &low_total);
    if (code != TVL_OK) {
      client.SyncPlanDrop();
      return code;
    }
    Describe(client, opened->entries);
    connection.has_plan = true;
    *sync = opened.release();
    return TVL_OK;
  });
}

// Runs an operation on an entry.
template <typename Operation>
int OnEntry(tvlc_sync* sync, std::size_t index, const void* output, Operation operation) {
  return OnHandle(sync, {output}, [&]() -> int {
    return index < sync->entries.size() ? operation(sync->entries[index]) : TVL_ERR_ARGUMENT;
  });
}

// Reports the copies of a run. The connection's callback does not say which entry it is called for, but calls
// are in the order of the entries.
struct Run {
  const LongWork& work;
  std::vector<Entry>& entries;
  std::size_t next = 0;
};

void PassProgress(char* path, unsigned int size, void* data) {
  Run& run = *static_cast<Run*>(data);
  const std::string source = Slashed(path);
  while (run.next < run.entries.size() && run.entries[run.next].source != source) ++run.next;
  run.work.Reached(path, run.next < run.entries.size() ? run.entries[run.next++].bytes : size);
}

void TakeResults(const CTVLClientSmbOpr& client, std::vector<Entry>& entries) {
  for (std::size_t at = 0; at < entries.size(); ++at) {
    Entry& entry = entries[at];
    const int index = static_cast<int>(at);
    if (entry.is_removed || client.SyncPlanResult(index, &entry.result.code) == 0) continue;
    entry.is_done = true;
    const char* path = nullptr;
    if (client.SyncPlanFailure(index, &entry.result.reason.code, &path) != 0)
      tvl::CopyCut(entry.result.reason.path, path);
  }
}

}  // namespace

int tvlc_sync_pull(tvlc_store* store, const char* name, const char* local, const char* pattern, int exclude,
                   tvlc_sync** sync) {
  return Open(store, &CTVLClientOpr::SyncDirOpenGetRemote, name, local, pattern, exclude, sync);
}

int tvlc_sync_push(tvlc_store* store, const char* name, const char* local, const char* pattern, int exclude,
                   tvlc_sync** sync) {
  return Open(store, &CTVLClientOpr::SyncDirOpenPutRemote, name, local, pattern, exclude, sync);
}

int tvlc_sync_count(tvlc_sync* sync, size_t* count) {
  return OnHandle(sync, {count}, [&]() -> int {
    *count = sync->entries.size();
    return TVL_OK;
  });
}

int tvlc_sync_get_entry(tvlc_sync* sync, size_t index, tvlc_sync_entry* entry) {
  return OnEntry(sync, index, entry, [&](const Entry& found) -> int {
    if (!tvl::c::HasSize(entry)) return TVL_ERR_ARGUMENT;
    const tvlc_sync_entry result = {sizeof result, found.operation,      found.is_removed ? 1 : 0,
                                    found.bytes,   found.source.c_str(), found.target.c_str()};
    tvl::c::CopyStruct(result, entry);
    return TVL_OK;
  });
}

int tvlc_sync_remove_entry(tvlc_sync* sync, size_t index) {
  return OnEntry(sync, index, sync, [&](Entry& entry) -> int {
    if (!sync->is_open) return TVL_ERR_BUSY;
    CTVLClientSmbOpr* client = sync->connection->Directory();
    if (client == nullptr) return TVL_ERR_NOT_CONNECTED;
    if (entry.operation != TVLC_SYNC_LEFT_OUT) client->SyncPlanTakeOut(static_cast<int>(index));
    entry.is_removed = true;
    return TVL_OK;
  });
}

int tvlc_sync_run(tvlc_sync* sync, tvlc_progress progress, void* user_data) {
  return OnDirectory(sync, {}, [&](CTVLClientSmbOpr& client) -> int {
    if (!sync->is_open) return TVL_ERR_BUSY;
    const LongWork work(*sync->connection, progress, user_data);
    Run run = {work, sync->entries};
    const int code = client.SyncDirSyncronize(PassProgress, &run);
    sync->is_open = false;
    sync->connection->has_plan = false;
    TakeResults(client, sync->entries);
    return code;
  });
}

int tvlc_sync_result(tvlc_sync* sync, size_t index, int* done, tvlc_error* error) {
  return OnEntry(sync, index, done, [&](const Entry& entry) -> int {
    if (!tvl::c::HasSize(error)) return TVL_ERR_ARGUMENT;
    *done = entry.is_done ? 1 : 0;
    tvl::c::Report(entry.result, error);
    return TVL_OK;
  });
}

// A plan that was not carried out is dropped from the connection.
int tvlc_sync_close(tvlc_sync* sync) {
  if (sync == nullptr) return TVL_OK;
  const int code = OnHandle(sync, {}, [&]() -> int {
    if (CTVLClientSmbOpr* client = sync->connection->Directory(); client != nullptr && sync->is_open) {
      client->SyncPlanDrop();
      sync->connection->has_plan = false;
    }
    return TVL_OK;
  });
  if (code == TVL_ERR_BUSY) return code;
  delete sync;
  return TVL_OK;
}
