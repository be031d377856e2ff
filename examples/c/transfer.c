/* Stores or fetches files, and shows how far it is.

   Usage: transfer CONFIG WORK get|put NAME... */

#include <stdio.h>
#include <string.h>

#include <tvlclient/tvlc.h>

static void complain(const char* what, const tvlc_error* error) {
  fprintf(stderr, "%s: %s\n", what, error->text);
  if (error->system_error != 0) fprintf(stderr, "  %s: %s\n", error->path, strerror(error->system_error));
}

int main(int argc, char** argv) {
  tvlc_error error = {.size = sizeof error};
  tvlc_store* store = NULL;
  const int count = argc - 4;
  int status = 0;
  int put;

  if (argc < 5) {
    fprintf(stderr, "usage: %s CONFIG WORK get|put NAME...\n", argv[0]);
    return 2;
  }
  put = strcmp(argv[3], "put") == 0;
  if (tvlc_open_directory(&store, argv[1], argv[2], "demo", &error) != TVL_OK) {
    complain(argv[1], &error);
    return 1;
  }
  for (int i = 0; i < count; ++i) {
    const char* name = argv[4 + i];
    const int force = 0; /* 1 would transfer the file even if both copies are the same */
    int transferred = 0;
    const int code = put ? tvlc_put(store, name, NULL, force, &transferred)
                         : tvlc_get(store, name, NULL, force, &transferred);
    if (code != TVL_OK) {
      tvlc_last_error(store, &error);
      complain(name, &error);
      status = 1;
    } else {
      printf("[%d/%d] %s: %s\n", i + 1, count, name, transferred ? "transferred" : "already the same");
    }
  }
  tvlc_close(store);
  return status;
}
