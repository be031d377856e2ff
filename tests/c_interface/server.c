/* A store that a server serves. */

#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support.h"

struct server {
  pid_t process;
  int messages; /* the server's standard error */
  uint16_t port;
};

/* Starts a server and reads its first message, which ends in its address and port. */
static struct server start_server(const char* program) {
  struct server server = {-1, -1, 0};
  int ends[2];
  char message[256] = "";
  size_t length = 0;
  const char* config = host("store/tvl.ini");
  CHECK(pipe(ends) == 0);
  server.process = fork();
  if (server.process == 0) {
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    execl(program, program, "--config", config, "--listen", "127.0.0.1:0", (char*)NULL);
    _exit(127);
  }
  close(ends[1]);
  server.messages = ends[0];
  while (length < sizeof message - 1 && read(server.messages, message + length, 1) == 1 &&
         message[length] != '\n')
    ++length;
  CHECK(strstr(message, "listen") != NULL);
  if (strrchr(message, ':') != NULL) server.port = (uint16_t)atoi(strrchr(message, ':') + 1);
  CHECK(server.port != 0);
  return server;
}

static int no_entry(const tvlc_entry* entry, void* data) {
  (void)entry;
  (void)data;
  return 0;
}

static void test_what_is_not_offered(tvlc_store* store) {
  tvlc_error error;
  tvlc_sync* sync = NULL;
  tvlc_table* table = NULL;
  tvlc_lock_row** locks = NULL;
  tvlc_instance** instances = NULL;
  tvlc_value** values = NULL;
  tvlc_pack** packs = NULL;
  char* value = NULL;
  size_t count = 0;
  int answer = 0;
  int at;
  const int codes[] = {
      tvlc_exists(store, "a", &answer),
      tvlc_compare(store, "a", NULL, &answer),
      tvlc_list(store, "", NULL, no_entry, NULL),
      tvlc_make_folder(store, "a"),
      tvlc_remove_file(store, "a"),
      tvlc_remove_tree(store, "a", NULL, NULL),
      tvlc_rename(store, "a", "b"),
      tvlc_copy_file(store, "a", "b"),
      tvlc_copy_tree(store, "a", "b", NULL, NULL, NULL),
      tvlc_get_tree(store, "a", "b", NULL, NULL, NULL),
      tvlc_put_tree(store, "a", "b", NULL, NULL, NULL),
      tvlc_sync_pull(store, "a", "b", NULL, 0, &sync),
      tvlc_sync_push(store, "a", "b", NULL, 0, &sync),
      tvlc_locks(store, &locks, &count),
      tvlc_instances(store, NULL, &instances, &count),
      tvlc_get_value(store, "a", &value),
      tvlc_set_value(store, "a", "b"),
      tvlc_values(store, &values, &count),
      tvlc_packs(store, "a", &packs, &count),
      tvlc_table_open(store, "a", &table),
      tvlc_table_make(store, "a", 1, 1, 0, 0, &table),
  };
  for (at = 0; at < (int)(sizeof codes / sizeof *codes); ++at) {
    if (codes[at] != TVL_ERR_NOT_SUPPORTED) fprintf(stderr, "function %d of the list:\n", at);
    CHECK_CODE(TVL_ERR_NOT_SUPPORTED, codes[at]);
  }
  CLEAR(error);
  CHECK_CODE(TVL_ERR_NOT_SUPPORTED, tvlc_last_error(store, &error));
  CHECK_TEXT("not available on this kind of connection", error.text);
}

static void test_what_is_offered(tvlc_store* store) {
  tvlc_store* directory = open_store();
  tvlc_store_info info;
  tvlc_owner owner;
  tvlc_error error;
  int answer = 0;
  CLEAR(info);
  CLEAR(owner);
  CLEAR(error);
  CHECK_OK(tvlc_describe(store, &info));
  CHECK(info.is_server == 1 && info.server_version[0] != 0);
  write_file("work/wire.txt", "over the wire");
  CHECK_OK(tvlc_put(store, "wire.txt", NULL, 0, &answer));
  CHECK(answer == 1);
  CHECK_TEXT("over the wire", read_file("store/wire.txt"));
  CHECK_OK(tvlc_get(store, "wire.txt", "again.txt", 0, &answer));
  CHECK_TEXT("over the wire", read_file("work/again.txt"));
  CHECK_CODE(TVL_ERR_SERVER_FILE, tvlc_get(store, "none", NULL, 0, NULL));
  CHECK_CODE(TVL_ERR_SERVER_FILE, tvlc_last_error(store, &error));
  CHECK_TEXT("refused by the server", error.text);
  CHECK_OK(tvlc_is_present(store, &answer));
  CHECK(answer == 1);
  CHECK_OK(tvlc_lock(store, "WIRE", &owner));
  CHECK_OK(tvlc_holds(store, "WIRE", &answer));
  CHECK(answer == 1);
  CHECK_CODE(TVL_ERR_LOCKED, tvlc_lock(directory, "WIRE", NULL));
  CHECK_OK(tvlc_unlock(store, "WIRE", NULL));
  CHECK_OK(tvlc_lock(directory, "WIRE", NULL));
  CHECK_CODE(TVL_ERR_LOCKED, tvlc_lock(store, "WIRE", &owner));
  CHECK_OK(tvlc_close(directory));
}

static void* get_wire(void* store) {
  CHECK_OK(tvlc_get((tvlc_store*)store, "wire.txt", NULL, 1, NULL));
  return NULL;
}

static void test_another_thread(tvlc_store* store) {
  pthread_t thread;
  CHECK(pthread_create(&thread, NULL, get_wire, store) == 0);
  CHECK(pthread_join(thread, NULL) == 0);
  CHECK_OK(tvlc_get(store, "wire.txt", NULL, 1, NULL));
}

void test_server(const char* program) {
  struct server server = start_server(program);
  tvlc_store* store = NULL;
  tvlc_error error;
  int present = 1;
  CLEAR(error);
  CHECK_OK(tvlc_open_server(&store, "127.0.0.1", server.port, host("work"), "wire", NULL, &error));
  if (store == NULL) exit(1);
  test_what_is_offered(store);
  test_what_is_not_offered(store);
  test_another_thread(store);
  kill(server.process, SIGKILL);
  CHECK(waitpid(server.process, NULL, 0) == server.process);
  CHECK(tvlc_get(store, "wire.txt", NULL, 1, NULL) != TVL_OK);
  CHECK_OK(tvlc_is_present(store, &present));
  CHECK(present == 0);
  CHECK_OK(tvlc_close(store));
  CHECK_CODE(TVL_ERR_TCP_CONNECT,
             tvlc_open_server(&store, "127.0.0.1", server.port, host("work"), NULL, NULL, &error));
  CHECK(error.system_error != 0 && error.text[0] != 0);
  close(server.messages);
}
