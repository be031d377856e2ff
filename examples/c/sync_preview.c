/* Shows what a synchronization of a local folder with the store would do, and does it without its deletions.

   Usage: sync_preview CONFIG WORK FOLDER [--run] */

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <tvlclient/tvlc.h>

struct progress {
  uint64_t done;
  uint64_t total;
};

static const char* const kOperations[] = {"keep", "delete", "folder", "copy", "left out"};

/* Prints the plan, removes the deletions from it, and returns how many bytes there are to copy. */
static int show_plan(tvlc_sync* sync, uint64_t* total) {
  size_t count = 0;
  int code = tvlc_sync_count(sync, &count);
  for (size_t i = 0; i < count && code == TVL_OK; ++i) {
    tvlc_sync_entry entry = {.size = sizeof entry};
    code = tvlc_sync_get_entry(sync, i, &entry);
    if (code != TVL_OK) break;
    printf("%s %s\n", kOperations[entry.operation], entry.target);
    if (entry.operation == TVLC_SYNC_COPY) *total += entry.bytes;
    if (entry.operation == TVLC_SYNC_DELETE) code = tvlc_sync_remove_entry(sync, i);
  }
  return code;
}

/* Called after each copy. */
static int show_progress(const char* path, uint64_t size, void* user_data) {
  struct progress* progress = user_data;
  progress->done += size;
  printf("%3d%% %s\n", progress->total == 0 ? 100 : (int)(100 * progress->done / progress->total), path);
  return 0; /* any other value would stop */
}

static void show_failures(tvlc_sync* sync) {
  size_t count = 0;
  tvlc_sync_count(sync, &count);
  for (size_t i = 0; i < count; ++i) {
    tvlc_error error = {.size = sizeof error};
    int done = 0;
    if (tvlc_sync_result(sync, i, &done, &error) != TVL_OK || !done || error.code == TVL_OK) continue;
    fprintf(stderr, "%s: %s: %s\n", error.path, error.text, strerror(error.system_error));
  }
}

int main(int argc, char** argv) {
  tvlc_error error = {.size = sizeof error};
  struct progress progress = {0, 0};
  tvlc_store* store = NULL;
  tvlc_sync* sync = NULL;
  int code;

  if (argc != 4 && argc != 5) {
    fprintf(stderr, "usage: %s CONFIG WORK FOLDER [--run]\n", argv[0]);
    return 2;
  }
  if (tvlc_open_directory(&store, argv[1], argv[2], "demo", &error) != TVL_OK) {
    fprintf(stderr, "%s: %s\n", argv[1], error.text);
    return 1;
  }
  code = tvlc_sync_pull(store, argv[3], argv[3], NULL, TVLC_EXCLUDE_NONE, &sync);
  if (code == TVL_OK) code = show_plan(sync, &progress.total);
  if (code == TVL_OK && argc == 5) {
    code = tvlc_sync_run(sync, show_progress, &progress);
    if (code != TVL_OK) show_failures(sync);
  } else if (code != TVL_OK) {
    tvlc_last_error(store, &error);
    fprintf(stderr, "%s: %s\n", argv[3], error.text);
  }
  tvlc_sync_close(sync);
  tvlc_close(store);
  return code == TVL_OK ? 0 : 1;
}
