// Shows what a synchronization of a local folder with the store would do, and does it without its deletions.
//
// Usage: sync_preview CONFIG WORK FOLDER [--run]

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include <tvlclient/tvlclient.h>

namespace {

struct Progress {
  unsigned long long done = 0;
  unsigned long long total = 0;
};

int Complain(const char* what, int code) {
  std::fprintf(stderr, "%s: %s\n", what, TVLFormatError(code).GetString());
  return 1;
}

const char* NameOf(SYNC_DIR_FILE_OPERATION operation) {
  switch (operation) {
    case SYNC_DIR_FILE_KEEP:
      return "keep";
    case SYNC_DIR_FILE_DELETE:
      return "delete";
    case SYNC_DIR_FILE_FOLDER:
      return "folder";
    case SYNC_DIR_FILE_COPY:
      return "copy";
  }
  return "unknown";
}

// Full paths of the library have backslashes.
std::string Shown(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

// Prints the plan, and removes the deletions from it.
void ShowPlan(CTVLClientSmbOpr& store) {
  for (int i = 0; i < store.SyncPlanCount(); ++i) {
    const char* source = nullptr;
    const char* target = nullptr;
    unsigned int size = 0;
    SYNC_DIR_FILE_OPERATION operation = SYNC_DIR_FILE_KEEP;
    if (store.SyncPlanEntry(i, &source, &target, &size, &operation) == 0) continue;
    std::printf("%s %s\n", NameOf(operation), Shown(target).c_str());
    if (operation == SYNC_DIR_FILE_DELETE) store.SyncPlanTakeOut(i);
  }
}

// Called after each copy.
void ShowProgress(char* path, unsigned int size, void* userData) {
  auto* progress = static_cast<Progress*>(userData);
  progress->done += size;
  const unsigned long long percent = progress->total == 0 ? 100 : 100 * progress->done / progress->total;
  std::printf("%3llu%% %s\n", percent, Shown(path).c_str());
}

int CountFailures(const CTVLClientSmbOpr& store, int entries) {
  int failures = 0;
  for (int i = 0; i < entries; ++i) {
    int code = TVL_OK, error = 0;
    const char* path = "";
    if (store.SyncPlanResult(i, &code) == 0 || code == TVL_OK) continue;
    store.SyncPlanFailure(i, &error, &path);
    std::fprintf(stderr, "%s: %s: %s\n", Shown(path).c_str(), TVLFormatError(code).GetString(),
                 std::strerror(error));
    ++failures;
  }
  return failures;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) {
    std::fprintf(stderr, "usage: %s CONFIG WORK FOLDER [--run]\n", argv[0]);
    return 2;
  }
  char client[] = "demo", all[] = "*.*";
  CTVLClientSmbOpr store;
  if (const int code = store.Open(argv[2], argv[1], client)) return Complain(argv[1], code);

  unsigned int total = 0;
  store.SyncPlanFoldersLater(1);  // a plan alone changes nothing
  if (const int code = store.SyncDirOpenGetRemote(argv[3], all, &total)) return Complain(argv[3], code);
  ShowPlan(store);
  if (argc == 4) return 0;

  Progress progress{0, total};
  const int entries = store.SyncPlanCount();
  store.SyncDirSyncronize(ShowProgress, &progress);
  return CountFailures(store, entries) == 0 ? 0 : 1;
}
