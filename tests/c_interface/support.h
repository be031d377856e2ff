#ifndef TVL_TESTS_C_INTERFACE_SUPPORT_H
#define TVL_TESTS_C_INTERFACE_SUPPORT_H

#include <string.h>

#include <tvlclient/tvlc.h>

/* Checks that continue after a failure. */
#define CHECK(condition) check((condition) != 0, #condition, __FILE__, __LINE__)
#define CHECK_CODE(expected, call) check_code((expected), (call), #call, __FILE__, __LINE__)
#define CHECK_OK(call) CHECK_CODE(TVL_OK, call)
#define CHECK_TEXT(expected, text) check_text((expected), (text), #text, __FILE__, __LINE__)

/* Clears a structure of the interface and sets its size. */
#define CLEAR(structure) (memset(&(structure), 0, sizeof(structure)), (structure).size = sizeof(structure))

#ifdef __cplusplus
extern "C" {
#endif

void check(int holds, const char* condition, const char* file, int line);
void check_code(int expected, int code, const char* call, const char* file, int line);
void check_text(const char* expected, const char* text, const char* what, const char* file, int line);
int failed_checks(void);

/* Creates the folder of a test, with a folder "work", and removes it. The end returns the exit code of the
 * test. */
void begin_test_folder(void);
int end_test_folder(void);

/* Paths below the test's folder. The text is valid until the eighth call after it. */
const char* host(const char* name);
void write_file(const char* name, const char* text);
/* The contents of a file, "" if it does not exist. Valid until the next call. */
const char* read_file(const char* name);
void make_folder(const char* name);

/* A directory connection to the store of the test, with the working directory "work". */
tvlc_store* open_store(void);

/* Counts its calls; stops when the count reaches `stop_at`, unless that is 0. */
struct calls {
  int count;
  int stop_at;
  uint64_t bytes;
};
int count_progress(const char* path, uint64_t size, void* calls);

void test_errors_and_processes(void);
void test_files(void);
void test_server(const char* program);
void test_sync_and_locks(void);
void test_tables(void);

#ifdef __cplusplus
}
#endif

#endif
