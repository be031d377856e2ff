#ifndef TVL_TESTS_DIRECTORY_SMALL_STORE_H
#define TVL_TESTS_DIRECTORY_SMALL_STORE_H

#include <tvlclient/smb_opr.h>

#include "support/testing.h"

// Settings of a store with this level of safety.
inline string Safe(int level) {
  return "ZipOnTransfert=0\nSafeOnTransfert=" + std::to_string(level) + "\n";
}

// A store "root" next to a working directory "work", and a connection between them. There is no lock table.
class SmallStore {
 public:
  explicit SmallStore(const string& settings = "", const fs::path& parent = fs::temp_directory_path())
      : folder(parent) {
    folder.Make("root");
    Configure(settings);
    EXPECT_EQ(Open(), 0);
  }

  void Configure(const string& settings) {
    folder.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + folder.Host("root") +
                                  "\nTmpDir=" + folder.Host("tmp") + "\n" + settings);
  }

  int Open(const char* work = "work") {
    return opr.Open(Arg(folder.Logical(work)), Arg(folder.Logical("store.ini")), Arg("test"));
  }

  // Transfer a file, whatever its state if `force` is not 0. `transferred` has the output.
  int Get(const string& remote, const string& local, int force = 0) {
    transferred = force;
    return opr.GetRemote(Arg(remote), Arg(local), &transferred);
  }
  int Get(const string& name, int force = 0) { return Get(name, name, force); }
  int Put(const string& remote, const string& local, int force = 0) {
    transferred = force;
    return opr.PutRemote(Arg(remote), Arg(local), &transferred);
  }
  int Put(const string& name, int force = 0) { return Put(name, name, force); }

  TempFolder folder;
  CTVLClientSmbOpr opr;
  int transferred = 0;
};

#endif
