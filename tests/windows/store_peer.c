/* One of the two clients in stores.py, which runs this program as one for Linux and as one for Windows.
 * Usage: store_peer STORE WORK COMMAND NAME [VALUE]. STORE is a configuration file, or the port of a local
 * server. Or: store_peer FOLDER, which creates a store. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <tvlclient/tvlc.h>

static int show(const char* text) {
  puts(text);
  return fflush(stdout);
}

/* Prints a result and returns 0, or prints the store's error and returns 1. */
static int show_result(tvlc_store* store, int code, const char* result) {
  tvlc_error error = {.size = sizeof error};
  if (code == TVL_OK) return show(result);
  tvlc_last_error(store, &error);
  printf("%d %s: %s\n", code, error.path, error.text);
  return 1;
}

static int transfer(tvlc_store* store, const char* name, int put) {
  int transferred = 0;
  const int code = (put ? tvlc_put : tvlc_get)(store, name, NULL, 0, &transferred);
  return show_result(store, code, transferred ? "transferred" : "equal");
}

static int show_value(tvlc_store* store, const char* name) {
  char* value = NULL;
  const int code = tvlc_get_value(store, name, &value);
  const int result = show_result(store, code, value != NULL ? value : "(none)");
  tvlc_free(value);
  return result;
}

/* Keeps a lock until the standard input ends. */
static int lock(tvlc_store* store, const char* object) {
  const int code = tvlc_lock(store, object, NULL);
  if (code == TVL_ERR_LOCKED) return show("locked");
  if (show_result(store, code, "held") != 0) return 1;
  while (getchar() != EOF) {
  }
  return 0;
}

static int run(tvlc_store* store, const char* command, const char* name, const char* value) {
  if (strcmp(command, "get") == 0 || strcmp(command, "put") == 0)
    return transfer(store, name, command[0] == 'p');
  if (strcmp(command, "value") == 0) return show_value(store, name);
  if (strcmp(command, "set") == 0) return show_result(store, tvlc_set_value(store, name, value), "set");
  return strcmp(command, "lock") == 0 ? lock(store, name) : 2;
}

int main(int argc, char** argv) {
  tvlc_error error = {.size = sizeof error};
  tvlc_store* store = NULL;
  char* end;
  unsigned long port;
  int result;
  if (argc == 2) return tvlc_make_store(argv[1], -1, NULL);
  if (argc < 5) return 2;
  port = strtoul(argv[1], &end, 10);
  if (*end == 0)
    tvlc_open_server(&store, "127.0.0.1", (uint16_t)port, argv[2], "peer", NULL, &error);
  else
    tvlc_open_directory(&store, argv[1], argv[2], "peer", &error);
  if (store == NULL) {
    printf("%d %s: %s\n", error.code, error.path, error.text);
    return 1;
  }
  result = run(store, argv[3], argv[4], argc > 5 ? argv[5] : NULL);
  return tvlc_close(store) == TVL_OK ? result : 1;
}
