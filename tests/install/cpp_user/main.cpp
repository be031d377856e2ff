// A user's program: connects with the class, lists the root folder of the store, and fetches the files in it.

#include <cstdio>
#include <string>

#include <tvlclient/tvlclient.h>

namespace {

int Complain(const char* what, int code) {
  std::fprintf(stderr, "%s: %s\n", what, TVLFormatError(code).GetString());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return Complain("usage: cpp_user CONFIG WORK", TVL_ERR_BAD_PATH);
  char folder[260] = "";
  std::snprintf(folder, sizeof folder, "%s", argv[2]);
  char client[] = "user";
  CTVLClientSmbOpr store;
  if (const int code = store.Open(folder, argv[1], client)) return Complain(argv[1], code);

  char top[] = "";
  char pattern[] = "*.txt";
  int count = 0;
  CString names;
  if (const int code = store.GetRemoteDirContent(top, pattern, &count, names))
    return Complain("listing", code);
  std::printf("%d %s\n", count, names.GetString());

  std::string name = names.GetString();
  int transferred = 0;
  if (const int code = store.GetRemote(name.data(), name.data(), &transferred)) {
    return Complain(name.c_str(), code);
  }
  std::printf("transferred %d\n", transferred);
  return store.Close();
}
