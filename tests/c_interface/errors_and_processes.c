/* What holds for all functions: bad arguments, the last error, structures of other versions, threads, forks.
 */

#include <errno.h>
#include <pthread.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support.h"

static void test_opening(void) {
  tvlc_error error;
  tvlc_store* store = NULL;
  tvlc_store_info info;
  CLEAR(error);
  CLEAR(info);
  CHECK_CODE(TVL_ERR_ROOT_UNDEFINED, tvlc_open_directory(&store, host("no.ini"), NULL, NULL, &error));
  CHECK(store == NULL && error.code == TVL_ERR_ROOT_UNDEFINED && error.system_error == ENOENT);
  CHECK_TEXT(host("no.ini"), error.path);
  CHECK(strstr(error.text, "No such file or directory") != NULL);
  CHECK_OK(tvlc_open_directory(&store, host("store/tvl.ini"), NULL, NULL, &error));
  CHECK(error.code == TVL_OK);
  CHECK_OK(tvlc_describe(store, &info));
  CHECK(info.in_place == 1 && info.is_server == 0 && info.instance > 0);
  CHECK(strncmp(info.root, host("store"), strlen(host("store"))) == 0);
  CHECK_OK(tvlc_close(store));
}

static void test_bad_arguments(void) {
  tvlc_store* store = open_store();
  tvlc_error error;
  char hash[41];
  CLEAR(error);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_open_directory(NULL, "a", NULL, NULL, &error));
  CHECK(error.code == TVL_ERR_ARGUMENT);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_open_directory(&store, NULL, NULL, NULL, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_open_server(&store, NULL, 1, NULL, NULL, NULL, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_get(NULL, "a", NULL, 0, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_get(store, NULL, NULL, 0, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_last_error(store, &error));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_list(store, "", NULL, NULL, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_locks(store, NULL, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_sync_count(NULL, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_table_describe(NULL, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_clear(NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_hash(NULL, NULL, hash, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_make_store(NULL, -1, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_check_store("/", 0, NULL, NULL, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_schema_length(NULL, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_last_error(NULL, &error));
  CHECK_OK(tvlc_close(store));
  CHECK_OK(tvlc_close(NULL));
  CHECK_OK(tvlc_sync_close(NULL));
  CHECK_OK(tvlc_table_close(NULL));
  CHECK_OK(tvlc_records_close(NULL));
  tvlc_stop(NULL, 1);
  tvlc_free(NULL);
}

/* A structure of an older version is filled in up to its size; what a newer one has in addition is cleared.
 */
static void test_other_versions(void) {
  struct {
    tvlc_error error;
    char more[16];
  } newer;
  tvlc_store* store = open_store();
  CHECK_CODE(TVL_ERR_COPY, tvlc_get(store, "none", NULL, 0, NULL));
  memset(&newer, 'x', sizeof newer);
  newer.error.size = offsetof(tvlc_error, path);
  CHECK_CODE(TVL_ERR_COPY, tvlc_last_error(store, &newer.error));
  CHECK(newer.error.size == offsetof(tvlc_error, path) && newer.error.system_error == ENOENT);
  CHECK(newer.error.path[0] == 'x');
  newer.error.size = sizeof newer;
  CHECK_CODE(TVL_ERR_COPY, tvlc_last_error(store, &newer.error));
  CHECK(newer.error.size == sizeof newer && newer.more[0] == 0 && newer.more[15] == 0);
  newer.error.size = 0;
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_last_error(store, &newer.error));
  CHECK_OK(tvlc_close(store));
}

static void* move_files(void* data) {
  tvlc_store* store = (tvlc_store*)data;
  int round;
  for (round = 0; round < 20; ++round) {
    CHECK_OK(tvlc_put(store, "shared.txt", NULL, 1, NULL));
    CHECK_OK(tvlc_lock(store, "SHARED", NULL));
  }
  CHECK_CODE(TVL_ERR_COPY, tvlc_get(store, "missing", NULL, 0, NULL));
  return NULL;
}

/* Calls of several threads wait for each other, and the error does not depend on the thread that reads it. */
static void test_threads(void) {
  tvlc_store* store = open_store();
  pthread_t threads[3];
  tvlc_error error;
  int at;
  write_file("work/shared.txt", "shared");
  for (at = 0; at < 3; ++at) CHECK(pthread_create(&threads[at], NULL, move_files, store) == 0);
  for (at = 0; at < 3; ++at) CHECK(pthread_join(threads[at], NULL) == 0);
  CLEAR(error);
  CHECK_CODE(TVL_ERR_COPY, tvlc_last_error(store, &error));
  CHECK_TEXT(host("store/missing"), error.path);
  CHECK_OK(tvlc_close(store));
}

/* A child cannot use its parent's handles, and does not release what they hold. */
static void test_fork(void) {
  tvlc_store* store = open_store();
  tvlc_store* other = open_store();
  tvlc_table* table = NULL;
  tvlc_table_info info;
  tvlc_error error;
  int holds = 0;
  int status = -1;
  pid_t child;
  CLEAR(error);
  CLEAR(info);
  CHECK_OK(tvlc_lock(store, "FORKED", NULL));
  CHECK_OK(tvlc_table_make(store, "forked", 10, 4, 0, 1, &table));
  child = fork();
  if (child == 0) {
    tvlc_store* own = NULL;
    const int before = failed_checks();
    CHECK_CODE(TVL_ERR_NOT_CONNECTED, tvlc_unlock(store, "FORKED", NULL));
    CHECK_CODE(TVL_ERR_NOT_CONNECTED, tvlc_last_error(store, &error));
    CHECK_CODE(TVL_ERR_NOT_CONNECTED, tvlc_table_describe(table, &info));
    CHECK_OK(tvlc_table_close(table));
    CHECK_OK(tvlc_close(store));
    own = open_store();
    CHECK_CODE(TVL_ERR_LOCKED, tvlc_lock(own, "FORKED", NULL));
    CHECK_OK(tvlc_close(own));
    _exit(failed_checks() == before ? 0 : 1);
  }
  CHECK(waitpid(child, &status, 0) == child && status == 0);
  CHECK_OK(tvlc_holds(store, "FORKED", &holds));
  CHECK(holds == 1);
  CHECK_CODE(TVL_ERR_LOCKED, tvlc_lock(other, "FORKED", NULL));
  CHECK_OK(tvlc_table_describe(table, &info));
  CHECK_OK(tvlc_unlock(store, "FORKED", NULL));
  CHECK_OK(tvlc_close(store));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_table_read(table, 1, 0, NULL, 0, NULL));
  CHECK_OK(tvlc_table_close(table));
  CHECK_OK(tvlc_close(other));
}

void test_errors_and_processes(void) {
  CHECK_TEXT("another instance has the lock", tvlc_error_text(TVL_ERR_LOCKED));
  CHECK_TEXT("unknown error", tvlc_error_text(4711));
  test_opening();
  test_bad_arguments();
  test_other_versions();
  test_threads();
  test_fork();
}
