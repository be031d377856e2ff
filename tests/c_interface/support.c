#include "support.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

static int failures = 0;
static char test_folder[] = "/tmp/tvl_c_XXXXXX";

void check(int holds, const char* condition, const char* file, int line) {
  if (holds) return;
  ++failures;
  fprintf(stderr, "%s:%d: not true: %s\n", file, line, condition);
}

void check_code(int expected, int code, const char* call, const char* file, int line) {
  if (code == expected) return;
  ++failures;
  fprintf(stderr, "%s:%d: %d (%s), expected %d: %s\n", file, line, code, tvlc_error_text(code), expected,
          call);
}

void check_text(const char* expected, const char* text, const char* what, const char* file, int line) {
  if (strcmp(expected, text) == 0) return;
  ++failures;
  fprintf(stderr, "%s:%d: \"%s\", expected \"%s\": %s\n", file, line, text, expected, what);
}

int failed_checks(void) {
  return failures;
}

void begin_test_folder(void) {
  if (mkdtemp(test_folder) == NULL) exit(2);
  make_folder("work");
}

int end_test_folder(void) {
  char command[64];
  snprintf(command, sizeof command, "rm -rf %s", test_folder);
  return system(command) == 0 && failures == 0 ? 0 : 1;
}

const char* host(const char* name) {
  static char paths[8][512];
  static int next = 0;
  char* path = paths[next++ % 8];
  snprintf(path, sizeof paths[0], "%s/%s", test_folder, name);
  return path;
}

void write_file(const char* name, const char* text) {
  FILE* file = fopen(host(name), "wb");
  CHECK(file != NULL);
  if (file == NULL) return;
  fputs(text, file);
  fclose(file);
}

const char* read_file(const char* name) {
  static char text[256];
  size_t length = 0;
  FILE* file = fopen(host(name), "rb");
  if (file != NULL) {
    length = fread(text, 1, sizeof text - 1, file);
    fclose(file);
  }
  text[length] = 0;
  return text;
}

void make_folder(const char* name) {
  CHECK(mkdir(host(name), 0777) == 0);
}

tvlc_store* open_store(void) {
  tvlc_store* store = NULL;
  CHECK_OK(tvlc_open_directory(&store, host("store/tvl.ini"), host("work"), "ctst", NULL));
  if (store == NULL) exit(1);
  return store;
}

int count_progress(const char* path, uint64_t size, void* data) {
  struct calls* calls = (struct calls*)data;
  CHECK(path[0] == '/' && strchr(path, '\\') == NULL);
  calls->bytes += size;
  return ++calls->count == calls->stop_at;
}
