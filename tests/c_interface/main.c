/* Exercises the C interface. Usage: PROGRAM TVLSERVER */

#include "support.h"

static void count_finding(const tvlc_finding* finding, void* count) {
  CHECK(finding->size == sizeof *finding && finding->check[0] != 0);
  ++*(int*)count;
}

/* The store that the other tests use. */
static void test_making_a_store(void) {
  tvlc_error error;
  int findings = 0;
  CLEAR(error);
  CHECK_OK(tvlc_make_store(host("store"), -1, &error));
  CHECK_CODE(TVL_ERR_STORE_EXISTS, tvlc_make_store(host("store"), -1, &error));
  CHECK_OK(tvlc_check_store(host("store"), 1, count_finding, &findings, &error));
  CHECK(findings > 5);
  CHECK_CODE(TVL_ERR_SERVER_FILE, tvlc_check_store(host("none"), 0, count_finding, &findings, &error));
  CHECK(error.code == TVL_ERR_SERVER_FILE && error.text[0] != 0);
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  begin_test_folder();
  test_making_a_store();
  test_errors_and_processes();
  test_files();
  test_sync_and_locks();
  test_tables();
  test_server(argv[1]);
  return end_test_folder();
}
