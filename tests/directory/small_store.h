#ifndef TVL_TESTS_DIRECTORY_SMALL_STORE_H
#define TVL_TESTS_DIRECTORY_SMALL_STORE_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <tvlclient/smb_opr.h>

#include "support/arg.h"
#include "support/temp_folder.h"

// A store "root" next to a working directory "work", and a connection between them. There is no lock table.
class SmallStore {
 public:
  explicit SmallStore(const std::string& settings = "",
                      const std::filesystem::path& parent = std::filesystem::temp_directory_path())
      : folder(parent) {
    folder.Make("root");
    Configure(settings);
    EXPECT_EQ(Open(), 0);
  }

  void Configure(const std::string& settings) {
    folder.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + folder.Host("root") +
                                  "\nTmpDir=" + folder.Host("tmp") + "\n" + settings);
  }

  int Open(const char* work = "work") {
    return opr.Open(Arg(folder.Logical(work)), Arg(folder.Logical("store.ini")), Arg("test"));
  }

  int Get(const std::string& name, int* transferred) {
    return opr.GetRemote(Arg(name), Arg(name), transferred);
  }
  int Put(const std::string& name, int* transferred) {
    return opr.PutRemote(Arg(name), Arg(name), transferred);
  }

  TempFolder folder;
  CTVLClientSmbOpr opr;
};

#endif
