/* Synchronization, locks, presence, values and update packs. */

#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

#include "support.h"

/* Returns the index of the entry with an operation, and copies it. */
static size_t find_entry(tvlc_sync* sync, int operation, tvlc_sync_entry* entry) {
  size_t count = 0;
  size_t index;
  CHECK_OK(tvlc_sync_count(sync, &count));
  for (index = 0; index < count; ++index) {
    CHECK_OK(tvlc_sync_get_entry(sync, index, entry));
    if (entry->operation == operation) return index;
  }
  CHECK(!"there is such an entry");
  return 0;
}

static void test_push(tvlc_store* store) {
  struct calls calls = {0, 0, 0};
  tvlc_sync* sync = NULL;
  tvlc_sync* second = NULL;
  tvlc_sync_entry entry;
  tvlc_error error;
  size_t deleted;
  int done = -1;
  CLEAR(entry);
  CLEAR(error);
  make_folder("work/s");
  make_folder("store/s");
  write_file("work/s/new", "12345");
  write_file("store/s/old", "");
  CHECK_OK(tvlc_sync_push(store, "s", "s", NULL, TVLC_EXCLUDE_PDF, &sync));
  CHECK_CODE(TVL_ERR_BUSY, tvlc_sync_push(store, "s", "s", NULL, 0, &second));
  find_entry(sync, TVLC_SYNC_COPY, &entry);
  CHECK(entry.bytes == 5);
  CHECK_TEXT(host("work/s/new"), entry.source);
  deleted = find_entry(sync, TVLC_SYNC_DELETE, &entry);
  CHECK_TEXT(host("store/s/old"), entry.target);
  CHECK_OK(tvlc_sync_remove_entry(sync, deleted));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_sync_remove_entry(sync, 99));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_sync_get_entry(sync, 99, &entry));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_sync_result(sync, 99, &done, &error));
  CHECK_OK(tvlc_sync_run(sync, count_progress, &calls));
  CHECK(calls.count == 1 && calls.bytes == 5);
  CHECK_CODE(TVL_ERR_BUSY, tvlc_sync_run(sync, NULL, NULL));
  CHECK_CODE(TVL_ERR_BUSY, tvlc_sync_remove_entry(sync, deleted));
  CHECK_OK(tvlc_sync_result(sync, find_entry(sync, TVLC_SYNC_COPY, &entry), &done, &error));
  CHECK(done == 1 && error.code == TVL_OK);
  CHECK_OK(tvlc_sync_result(sync, deleted, &done, &error));
  CHECK(done == 0);
  CHECK_TEXT("12345", read_file("store/s/new"));
  CHECK(access(host("store/s/old"), F_OK) == 0);
  CHECK_OK(tvlc_sync_close(sync));
}

/* A copy that fails has its own result with the reason. */
static void test_pull(tvlc_store* store) {
  tvlc_sync* sync = NULL;
  tvlc_sync_entry entry;
  tvlc_error error;
  int done = 0;
  CLEAR(entry);
  CLEAR(error);
  make_folder("work/p");
  make_folder("work/p/new");
  CHECK_OK(tvlc_sync_pull(store, "s", "p", "n*", 0, &sync));
  CHECK(tvlc_sync_run(sync, NULL, NULL) != TVL_OK);
  CHECK_OK(tvlc_sync_result(sync, find_entry(sync, TVLC_SYNC_COPY, &entry), &done, &error));
  CHECK(done == 1 && error.code == TVL_ERR_COPY && error.system_error == EISDIR);
  CHECK_OK(tvlc_sync_close(sync));
  CHECK_CODE(TVL_ERR_BAD_PATH, tvlc_sync_pull(store, "none", "p", NULL, 0, &sync));
  CHECK_OK(tvlc_sync_pull(store, "s", "p", NULL, 0, &sync));
  CHECK_OK(tvlc_sync_close(sync)); /* without carrying it out */
}

static void test_locks(tvlc_store* store) {
  tvlc_store* other = open_store();
  tvlc_owner owner;
  tvlc_error error;
  tvlc_lock_row** locks = NULL;
  tvlc_instance** instances = NULL;
  size_t count = 0;
  int answer = -1;
  CLEAR(owner);
  CLEAR(error);
  CHECK_OK(tvlc_is_present(store, &answer));
  CHECK(answer == 1);
  CHECK_OK(tvlc_lock(store, "ORD1", &owner));
  CHECK(owner.pid == getpid() && owner.computer[0] != 0);
  CHECK_CODE(TVL_ERR_LOCKED, tvlc_lock(other, "ORD1", &owner));
  CHECK(owner.pid == getpid());
  CHECK_CODE(TVL_ERR_LOCKED, tvlc_last_error(other, &error));
  CHECK_TEXT("another instance has the lock", error.text);
  CHECK_CODE(TVL_ERR_LOCKED, tvlc_unlock(other, "ORD1", NULL));
  CHECK_OK(tvlc_holds(store, "ORD1", &answer));
  CHECK(answer == 1);
  CHECK_OK(tvlc_holds(other, "ORD1", &answer));
  CHECK(answer == 0);
  CHECK_OK(tvlc_locks(store, &locks, &count));
  CHECK(count == 1 && locks[0]->is_alive == 1 && locks[1] == NULL);
  CHECK_TEXT("ORD1", locks[0]->object);
  CHECK_TEXT("ctst", locks[0]->class_name);
  tvlc_free(locks);
  CHECK_OK(tvlc_instances(store, NULL, &instances, &count));
  CHECK(count == 1 && instances[0]->pid == getpid());
  tvlc_free(instances);
  CHECK_OK(tvlc_instances(store, "none", &instances, &count));
  CHECK(count == 0);
  tvlc_free(instances);
  CHECK_OK(tvlc_unlock(store, "ORD1", NULL));
  CHECK_OK(tvlc_lock(other, "ORD1", NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_lock(store, "", NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_unlock(store, "a name of more than thirty-two bytes", NULL));
  CHECK_OK(tvlc_close(other));
}

static void test_values(tvlc_store* store) {
  tvlc_store* again = NULL;
  tvlc_value** values = NULL;
  tvlc_pack** packs = NULL;
  char* value = NULL;
  size_t count = 0;
  CHECK_OK(tvlc_set_value(store, "Colour", "gr\303\274n"));
  CHECK_OK(tvlc_get_value(store, "colour", &value));
  CHECK_TEXT("gr\303\274n", value);
  tvlc_free(value);
  CHECK_OK(tvlc_set_value(store, "UpdateDirectory", "packs"));
  CHECK_OK(tvlc_values(store, &values, &count));
  CHECK(count >= 2);
  CHECK_TEXT("packs", values[count - 1]->value);
  tvlc_free(values);
  CHECK_OK(tvlc_set_value(store, "Colour", NULL));
  CHECK_OK(tvlc_get_value(store, "Colour", &value));
  CHECK(value == NULL);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_set_value(store, "a=b", "c"));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_set_value(store, "a", "two\nlines"));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_get_value(store, "", &value));
  make_folder("store/packs");
  write_file("store/packs/upd10.exe", "");
  write_file("store/packs/upd9b.exe", "");
  again = open_store();
  CHECK_OK(tvlc_packs(again, "upd", &packs, &count));
  CHECK(count == 2 && packs[0]->number == 9);
  CHECK_TEXT("b", packs[0]->suffix);
  CHECK_TEXT("upd10.exe", packs[1]->file);
  tvlc_free(packs);
  CHECK_OK(tvlc_close(again));
}

void test_sync_and_locks(void) {
  tvlc_store* store = open_store();
  test_push(store);
  test_pull(store);
  test_locks(store);
  test_values(store);
  CHECK_OK(tvlc_close(store));
}
