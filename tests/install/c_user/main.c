/* A user's program in C: connects, stores a file, fetches it under another name. */

#include <stdio.h>

#include <tvlclient/tvl.h>

static int complain(const char* what, int code) {
  fprintf(stderr, "%s: %s\n", what, TVLGetErrorString(code));
  return 1;
}

int main(int argc, char** argv) {
  char folder[260];
  char client[] = "user";
  char stored[] = "from/c.txt";
  char local[] = "c.txt";
  char copy[] = "copy.txt";
  int transferred = 0;
  int code;

  if (argc != 3) return complain("usage: c_user CONFIG WORK", TVL_ERR_BAD_PATH);
  snprintf(folder, sizeof folder, "%s", argv[2]);
  code = TVLConnect2Dir(folder, argv[1], client);
  if (code != TVL_OK) return complain(argv[1], code);
  code = TVLPutFile(stored, local, &transferred);
  if (code != TVL_OK) return complain(local, code);
  transferred = 0;
  code = TVLGetFile(stored, copy, &transferred);
  if (code != TVL_OK) return complain(stored, code);
  printf("transferred %d\n", transferred);
  return TVLCloseConnection();
}
