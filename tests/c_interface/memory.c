/* Fails the first, second, third ... allocation of an operation until it passes. Each failure has to be a
   code, an operation that returns TVL_OK has to be complete, and the store has to work afterwards. */

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support.h"

/* The functions of the C library that the ones below replace. */
extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* memory, size_t size);

static long until_failure = -1; /* negative: no allocation fails */
static int failed = 0;

static int fails(void) {
  if (until_failure < 0 || until_failure-- > 0) return 0;
  failed = 1;
  errno = ENOMEM;
  return 1;
}

void* malloc(size_t size) {
  return fails() ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  return fails() ? NULL : __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
  return fails() ? NULL : __libc_realloc(memory, size);
}

/* Called by an operation before it checks what it did. */
static void end_failures(void) {
  until_failure = -1;
}

static tvlc_store* store;
static tvlc_table* table;
static tvlc_records* records;

static int open_another(void) {
  tvlc_store* other = NULL;
  const int code = tvlc_open_directory(&other, host("store/tvl.ini"), host("work"), "othr", NULL);
  end_failures();
  CHECK((other != NULL) == (code == TVL_OK));
  CHECK_OK(tvlc_close(other));
  return code;
}

static int count_entry(const tvlc_entry* entry, void* count) {
  (void)entry;
  ++*(int*)count;
  return 0;
}

static int list(void) {
  int count = 0;
  const int code = tvlc_list(store, "tree", NULL, count_entry, &count);
  end_failures();
  if (code == TVL_OK) CHECK(count == 2);
  return code;
}

static int copy_tree(void) {
  size_t failures = 0;
  const int code = tvlc_copy_tree(store, "tree", "copy", NULL, NULL, &failures);
  end_failures();
  if (code == TVL_OK) CHECK_TEXT("2", read_file("store/copy/sub/b"));
  return code;
}

static int remove_tree(void) {
  return tvlc_remove_tree(store, "copy", NULL, NULL);
}

static int synchronize(void) {
  tvlc_sync* sync = NULL;
  size_t count = 0;
  int code = tvlc_sync_pull(store, "tree", "tree", NULL, 0, &sync);
  if (code == TVL_OK) {
    CHECK_OK(tvlc_sync_count(sync, &count));
    code = tvlc_sync_run(sync, NULL, NULL); /* fails for a plan with a folder that could not be read */
    if (code == TVL_OK) CHECK(count == 4);
  }
  end_failures();
  CHECK_OK(tvlc_sync_close(sync));
  if (code == TVL_OK) CHECK_TEXT("2", read_file("work/tree/sub/b"));
  return code;
}

static int lock(void) {
  return tvlc_lock(store, "MEMORY", NULL);
}

static int list_locks(void) {
  tvlc_lock_row** rows = NULL;
  size_t count = 0;
  const int code = tvlc_locks(store, &rows, &count);
  end_failures();
  if (code == TVL_OK) CHECK(count == 1);
  tvlc_free(rows);
  return code;
}

static int get_value(void) {
  char* value = NULL;
  const int code = tvlc_get_value(store, "Colour", &value);
  end_failures();
  if (code == TVL_OK) CHECK(value != NULL && strcmp(value, "green") == 0);
  tvlc_free(value);
  return code;
}

static int write_rows(void) {
  return tvlc_table_write(table, records);
}

static int read_rows(void) {
  size_t count = 0;
  const int code = tvlc_table_read(table, 1, 0, NULL, 0, records);
  end_failures();
  CHECK_OK(tvlc_records_count(records, &count));
  CHECK(count == 2);
  return code;
}

static int delete_rows(void) {
  const char* prefix = "none";
  return tvlc_table_delete(table, 1, &prefix, 1);
}

struct operation {
  const char* name;
  int (*run)(void);
};

/* A failure must not leave a transaction open, which would keep the table from other processes. */
static void check_other_process(const char* operation) {
  int status = -1;
  const pid_t child = fork();
  if (child == 0) {
    tvlc_store* own = open_store();
    const char* prefix = "none";
    tvlc_table* rows = NULL;
    const int opened = tvlc_table_open(own, "rows", &rows);
    _exit(opened == TVL_OK && tvlc_table_delete(rows, 1, &prefix, 1) == TVL_OK ? 0 : 1);
  }
  CHECK(waitpid(child, &status, 0) == child && status == 0);
  if (status != 0) fprintf(stderr, "after %s\n", operation);
}

static void exhaust(const struct operation* operation) {
  const int before = failed_checks();
  long at;
  for (at = 0; at < 5000 && failed_checks() == before; ++at) {
    int code;
    failed = 0;
    until_failure = at;
    code = operation->run();
    end_failures();
    CHECK_OK(delete_rows());
    if (failed) continue;
    CHECK_OK(code);
    check_other_process(operation->name);
    return;
  }
  CHECK(!"the operation passes in the end");
  fprintf(stderr, "%s, allocation %ld\n", operation->name, at);
}

int main(void) {
  static const struct operation operations[] = {
      {"open", open_another}, {"list", list},      {"copy", copy_tree},     {"remove", remove_tree},
      {"sync", synchronize},  {"lock", lock},      {"locks", list_locks},   {"get value", get_value},
      {"write", write_rows},  {"read", read_rows}, {"delete", delete_rows},
  };
  size_t at;
  begin_test_folder();
  CHECK_OK(tvlc_make_store(host("store"), -1, NULL));
  make_folder("store/tree");
  make_folder("store/tree/sub");
  write_file("store/tree/a", "1");
  write_file("store/tree/sub/b", "2");
  store = open_store();
  CHECK_OK(tvlc_set_value(store, "Colour", "green"));
  CHECK_OK(tvlc_table_make(store, "rows", 20, 5, 0, 0, &table));
  CHECK_OK(tvlc_records_new(table, NULL, &records));
  CHECK_OK(tvlc_records_add(records, "A", NULL, NULL, 0, NULL));
  CHECK_OK(tvlc_records_add(records, "B", NULL, NULL, 0, NULL));
  CHECK_OK(tvlc_table_write(table, records));
  for (at = 0; at < sizeof operations / sizeof *operations; ++at) exhaust(&operations[at]);
  CHECK_OK(tvlc_records_close(records));
  CHECK_OK(tvlc_table_close(table));
  CHECK_OK(tvlc_close(store));
  return end_test_folder();
}
