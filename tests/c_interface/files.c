/* Files, listings and trees. */

#include <errno.h>
#include <stdio.h>

#include "support.h"

static void test_transfers(tvlc_store* store) {
  int moved = -1;
  int answer = -1;
  uint64_t size = 0;
  char hash[41] = "";
  tvlc_error error;
  CLEAR(error);
  write_file("work/gr\303\274\303\237e.txt", "abc");
  CHECK_OK(tvlc_put(store, "docs/gr\303\274\303\237e.txt", "gr\303\274\303\237e.txt", 0, &moved));
  CHECK(moved == 1);
  CHECK_TEXT("abc", read_file("store/docs/gr\303\274\303\237e.txt"));
  CHECK_OK(tvlc_put(store, "docs/gr\303\274\303\237e.txt", "gr\303\274\303\237e.txt", 0, &moved));
  CHECK(moved == 0);
  CHECK_OK(tvlc_put(store, "docs/gr\303\274\303\237e.txt", "gr\303\274\303\237e.txt", 1, &moved));
  CHECK(moved == 1);
  CHECK_OK(tvlc_get(store, "docs/gr\303\274\303\237e.txt", NULL, 0, &moved));
  CHECK_TEXT("abc", read_file("work/docs/gr\303\274\303\237e.txt"));
  CHECK_OK(tvlc_compare(store, "docs/gr\303\274\303\237e.txt", NULL, &answer));
  CHECK(answer == 1);
  CHECK_OK(tvlc_compare(store, "docs/none", NULL, &answer));
  CHECK(answer == 0);
  CHECK_OK(tvlc_exists(store, "docs", &answer));
  CHECK(answer == 1);
  CHECK_OK(tvlc_exists(store, "docs/none", &answer));
  CHECK(answer == 0);
  CHECK_CODE(TVL_ERR_COPY, tvlc_put(store, "none", NULL, 0, &moved));
  CHECK_OK(tvlc_hash(host("work/gr\303\274\303\237e.txt"), &size, hash, NULL));
  CHECK(size == 3);
  CHECK_TEXT("a9993e364706816aba3e25717850c26c9cd0d89d", hash);
  CHECK_CODE(TVL_ERR_LOCAL_FILE, tvlc_hash(host("none"), &size, hash, &error));
  CHECK(error.system_error == ENOENT);
}

struct listing {
  tvlc_store* store;
  char names[256];
  int stop;
};

/* The store cannot be used inside its callback, except for its error. */
static int add_name(const tvlc_entry* entry, void* data) {
  struct listing* listing = (struct listing*)data;
  tvlc_error error;
  int answer = 0;
  size_t used = strlen(listing->names);
  CLEAR(error);
  CHECK_CODE(TVL_ERR_BUSY, tvlc_exists(listing->store, "docs", &answer));
  CHECK_CODE(TVL_ERR_BUSY, tvlc_close(listing->store));
  CHECK_CODE(TVL_ERR_BUSY, tvlc_last_error(listing->store, &error));
  snprintf(listing->names + used, sizeof listing->names - used, "%s%s ", entry->name,
           entry->is_folder ? "/" : "");
  return listing->stop;
}

static void test_changes(tvlc_store* store) {
  struct listing listing = {store, "", 0};
  CHECK_OK(tvlc_make_folder(store, "made"));
  CHECK_CODE(TVL_ERR_CREATE_DIR, tvlc_make_folder(store, "made"));
  write_file("store/made/a.txt", "aa");
  CHECK_OK(tvlc_copy_file(store, "made/a.txt", "made/new/b.txt"));
  CHECK_TEXT("aa", read_file("store/made/new/b.txt"));
  CHECK_CODE(TVL_ERR_COPY, tvlc_copy_file(store, "made/none", "made/c"));
  CHECK_OK(tvlc_rename(store, "made/new/b.txt", "made/new/c.txt"));
  CHECK_CODE(TVL_ERR_SERVER_FILE, tvlc_rename(store, "made/new/b.txt", "made/new/d.txt"));
  CHECK_OK(tvlc_list(store, "made/new", NULL, add_name, &listing));
  CHECK_TEXT("c.txt ", listing.names);
  listing.names[0] = 0;
  CHECK_OK(tvlc_list(store, "made", "n*", add_name, &listing));
  CHECK_TEXT("new/ ", listing.names);
  listing.stop = 1;
  listing.names[0] = 0;
  CHECK_CODE(TVL_ERR_STOPPED, tvlc_list(store, "made", NULL, add_name, &listing));
  CHECK(strchr(listing.names, ' ') == listing.names + strlen(listing.names) - 1);
  CHECK_CODE(TVL_ERR_SERVER_FILE, tvlc_list(store, "none", NULL, add_name, &listing));
  CHECK_OK(tvlc_remove_file(store, "made/new/c.txt"));
  CHECK_CODE(TVL_ERR_SERVER_FILE, tvlc_remove_file(store, "made/new/c.txt"));
}

static void test_trees(tvlc_store* store) {
  struct calls calls = {0, 0, 0};
  size_t failures = 99;
  tvlc_error error;
  CLEAR(error);
  make_folder("work/tree");
  make_folder("work/tree/sub");
  write_file("work/tree/a", "1");
  write_file("work/tree/sub/b", "22");
  write_file("work/tree/sub/c", "333");
  CHECK_OK(tvlc_put_tree(store, "tree", "tree", count_progress, &calls, &failures));
  CHECK(calls.count == 5 && calls.bytes == 6 && failures == 0);
  CHECK_TEXT("333", read_file("store/tree/sub/c"));
  CHECK_OK(tvlc_get_tree(store, "tree", "fetched", NULL, NULL, NULL));
  CHECK_TEXT("22", read_file("work/fetched/sub/b"));
  CHECK_OK(tvlc_get_tree(store, "tree", host("elsewhere"), NULL, NULL, NULL));
  CHECK_TEXT("1", read_file("elsewhere/a"));
  CHECK_CODE(TVL_ERR_COPY, tvlc_get_tree(store, "none", "fetched", NULL, NULL, &failures));

  /* A file that cannot be copied is reported, and does not end the copy. */
  make_folder("store/copy");
  make_folder("store/copy/a");
  CHECK_CODE(TVL_ERR_COPY, tvlc_copy_tree(store, "tree", "copy", NULL, NULL, &failures));
  CHECK(failures == 1);
  CHECK_CODE(TVL_ERR_COPY, tvlc_last_error(store, &error));
  CHECK(error.system_error == EISDIR && strstr(error.path, "/a") != NULL);
  CHECK_TEXT("333", read_file("store/copy/sub/c"));

  calls.count = 0;
  calls.stop_at = 2;
  CHECK_CODE(TVL_ERR_STOPPED, tvlc_copy_tree(store, "tree", "stopped", count_progress, &calls, NULL));
  CHECK(calls.count == 2);
  tvlc_stop(store, 1);
  CHECK_CODE(TVL_ERR_STOPPED, tvlc_remove_tree(store, "tree", NULL, NULL));
  tvlc_stop(store, 0);
  calls.count = calls.stop_at = 0;
  CHECK_OK(tvlc_remove_tree(store, "copy/", count_progress, &calls));
  CHECK(calls.count == 5);
  CHECK_CODE(TVL_ERR_BAD_PATH, tvlc_remove_tree(store, "tree/..", NULL, NULL));
  CHECK_CODE(TVL_ERR_BAD_PATH, tvlc_remove_tree(store, "./", NULL, NULL));
}

void test_files(void) {
  tvlc_store* store = open_store();
  test_transfers(store);
  test_changes(store);
  test_trees(store);
  CHECK_OK(tvlc_close(store));
}
