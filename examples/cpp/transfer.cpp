// Stores or fetches files, and shows how far it is.
//
// Usage: transfer CONFIG WORK get|put NAME...

#include <cstdio>
#include <cstring>

#include <tvlclient/tvlclient.h>

namespace {

int Complain(const char* what, int code) {
  char path[260] = "";
  const int error = TVLLastFileError(path, sizeof path);
  std::fprintf(stderr, "%s: %s\n", what, TVLFormatError(code).GetString());
  if (error != 0) std::fprintf(stderr, "  %s: %s\n", path, std::strerror(error));
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr, "usage: %s CONFIG WORK get|put NAME...\n", argv[0]);
    return 2;
  }
  const bool put = std::strcmp(argv[3], "put") == 0;
  char client[] = "demo";
  CTVLClientSmbOpr store;
  if (const int code = store.Open(argv[2], argv[1], client)) return Complain(argv[1], code);

  const int count = argc - 4;
  int status = 0;
  for (int i = 0; i < count; ++i) {
    char* name = argv[4 + i];
    int transferred = 0;  // 1 would transfer the file even if both copies are the same
    const int code =
        put ? store.PutRemote(name, name, &transferred) : store.GetRemote(name, name, &transferred);
    if (code != TVL_OK)
      status = Complain(name, code);
    else
      std::printf("[%d/%d] %s: %s\n", i + 1, count, name, transferred ? "transferred" : "already the same");
  }
  return status;  // the destructor closes the connection
}
