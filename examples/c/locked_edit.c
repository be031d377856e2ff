/* Appends a line to a file of the store under a lock, so that no program overwrites the line of another.

   Usage: locked_edit CONFIG WORK NAME LINE */

#include <stdio.h>
#include <time.h>

#include <tvlclient/tvlc.h>

enum { PATIENCE_SECONDS = 30 };

/* Waits for other owners. Returns TVL_OK only if other clients respect the lock. */
static int lock_within(tvlc_store* store, const char* object, int seconds) {
  const struct timespec pause = {0, 50 * 1000 * 1000};
  const time_t end = time(NULL) + seconds;
  for (;;) {
    const int code = tvlc_lock(store, object, NULL);
    if (code != TVL_ERR_LOCKED || time(NULL) > end) return code;
    nanosleep(&pause, NULL);
  }
}

static int append_line(const char* folder, const char* name, const char* line) {
  char path[260];
  FILE* file;
  int written;
  if (snprintf(path, sizeof path, "%s/%s", folder, name) >= (int)sizeof path) return TVL_ERR_BAD_PATH;
  file = fopen(path, "a");
  if (file == NULL) return TVL_ERR_LOCAL_FILE;
  written = fprintf(file, "%s\n", line) > 0;
  return fclose(file) == 0 && written ? TVL_OK : TVL_ERR_LOCAL_FILE;
}

/* Runs under the lock. */
static int edit(tvlc_store* store, const char* folder, const char* name, const char* line) {
  int exists = 0;
  int holds = 0;
  int code = tvlc_exists(store, name, &exists);
  if (code == TVL_OK && exists) code = tvlc_get(store, name, NULL, 0, NULL);
  if (code == TVL_OK) code = append_line(folder, name, line);
  /* After a long edit, make sure that the lock was not lost meanwhile, for example because the share was
   * gone. */
  if (code == TVL_OK) code = tvlc_holds(store, name, &holds);
  if (code == TVL_OK && !holds) return TVL_ERR_LOCKED;
  return code == TVL_OK ? tvlc_put(store, name, NULL, 0, NULL) : code;
}

int main(int argc, char** argv) {
  tvlc_error error = {.size = sizeof error};
  tvlc_store* store = NULL;
  int code;

  if (argc != 5) {
    fprintf(stderr, "usage: %s CONFIG WORK NAME LINE\n", argv[0]);
    return 2;
  }
  if (tvlc_open_directory(&store, argv[1], argv[2], "edit", &error) != TVL_OK) {
    fprintf(stderr, "%s: %s\n", argv[1], error.text);
    return 1;
  }
  code = lock_within(store, argv[3], PATIENCE_SECONDS); /* any name of at most 32 bytes that is agreed upon */
  if (code == TVL_OK) {
    code = edit(store, argv[2], argv[3], argv[4]);
    tvlc_unlock(store, argv[3], NULL);
  }
  if (code != TVL_OK) fprintf(stderr, "%s: %s\n", argv[3], tvlc_error_text(code));
  tvlc_close(store);
  return code == TVL_OK ? 0 : 1;
}
