#include <sstream>

#include "directory/small_store.h"

namespace {

// Returns the number of update packs and their list.
std::pair<int, string> PacksOf(SmallStore& store, const string& prefix) {
  int count = -1;
  CString list = "before";
  EXPECT_EQ(store.opr.GetUpdatePacks(Arg(prefix), count, list), 0);
  return {count, list.GetString()};
}

TEST(UpdatePacks, AreParsedFromNamesAndSorted) {
  const std::tuple<const char*, const char*, int, const char*> rows[] = {
      {"upd12.exe upd123a.exe", "upd", 2, "12; ;upd12.exe|123;a;upd123a.exe"},
      {"upd10.exe upd9.exe upd200x.exe", "upd", 3, "9; ;upd9.exe|10; ;upd10.exe|200;x;upd200x.exe"},
      {"upd0.exe update.exe upd00-.exe .exe upd5.txt other7.exe upd7exe", "upd", 0, ""},
      {"upd007.exe", "upd", 1, "7; ;upd007.exe"},
      {"upd1.2.exe", "upd", 1, "2; ;upd1.2.exe"},
      {"upd12abcdef.exe", "upd", 1, "12;abc;upd12abcdef.exe"},
      {"upd1b22cd.exe", "upd", 1, "22;cd;upd1b22cd.exe"},
      {"upd3\xB2\xB3.exe", "upd", 1, "3;\xB2\xB3;upd3\xB2\xB3.exe"},
      {"rel2.exe", "rel2", 1, "2; ;rel2.exe"},
      {"123.exe x4.exe", "", 2, "4; ;x4.exe|123; ;123.exe"},
      {"UPD8.EXE", "upd", 1, "8; ;UPD8.EXE"},
      {"upd6.exe/folder_too", "upd", 1, "6; ;upd6.exe"},
      {"upd99999999999.exe upd5.exe", "upd", 2, "5; ;upd5.exe|2147483647; ;upd99999999999.exe"},
  };
  for (const auto& [packs, prefix, count, list] : rows) {
    SmallStore store("[Environments]\nUpdateDirectory=packs\n");
    std::istringstream files(packs);
    for (string file; files >> file;) store.folder.Write("root/packs/" + file, "");
    EXPECT_EQ(PacksOf(store, prefix), std::pair(count, string(list)));
    store.opr.Close();
    EXPECT_EQ(PacksOf(store, prefix), std::pair(count, string(list)));
  }
}

TEST(UpdatePacks, NoneWithoutFolder) {
  for (const string& folder : {string(), string("none"), string(250, 'u')}) {
    SmallStore store("[Environments]\nUpdateDirectory=" + folder + "\n");
    for (const string& prefix : {string("u"), string(300, 'u')})
      EXPECT_EQ(PacksOf(store, prefix), std::pair(0, string()));
  }
}

}  // namespace
