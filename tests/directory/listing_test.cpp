#include <sstream>

#include "directory/small_store.h"

namespace {

// Lists a folder of the store and of the working directory; only the codes of failures differ.
TEST(DirectoryListing, ReturnsNamesAndTheirNumber) {
  SmallStore store;
  for (const string side : {"root/", "work/"}) {
    for (const char* name : {"d/a.txt", "d/B.TXT", "d/noext", "d/sub/x"}) store.folder.Write(side + name, "");
    if (kHasAllNames) store.folder.Write(side + "d/back\\slash", "");
    if (kHasLinks) fs::create_symlink("..", store.folder.Host(side + "d/up"));
    store.folder.Make(side + "empty");
  }
  using Names = std::vector<string>;
  const Names none = {"no folder"};
  const string endless(300, 'l');
  const std::tuple<const char*, const char*, Names> cases[] = {
      {"d", "*.*", {"B.TXT", "a.txt", "noext", "sub"}},
      {"/d/", "*.txt", {"B.TXT", "a.txt"}},
      {"d/sub", "*", {"x"}},
      {"d", "sub", {"sub"}},
      {"", "*", {"d", "empty"}},
      {"empty", "*.*", {}},
      {"d", "none", {}},
      {"none", "*.*", none},
      {"d/a.txt", "*.*", none},
      {endless.c_str(), "*", none},
      {"d", endless.c_str(), none},
  };
  for (const auto& [directory, pattern, expected] : cases) {
    const bool is_folder = expected != none;
    for (const bool local : {false, true}) {
      int count = -5;
      CString list = "before|";
      const int code = local ? store.opr.GetLocalDirContent(Arg(directory), Arg(pattern), &count, list)
                             : store.opr.GetRemoteDirContent(Arg(directory), Arg(pattern), &count, list);
      EXPECT_EQ(code, is_folder ? 0 : local ? 21 : 20) << directory;
      EXPECT_EQ(count, is_folder ? static_cast<int>(expected.size()) : -5);
      Names names;
      std::stringstream stream(list.GetString());
      for (string name; std::getline(stream, name, '|');) names.push_back(name);
      ASSERT_EQ(names.at(0), "before") << "names are appended";
      names.erase(names.begin());
      std::sort(names.begin(), names.end());
      EXPECT_EQ(names, is_folder ? expected : Names()) << directory << pattern;
    }
  }
}

TEST(DirectoryListing, ExistsChecksFilesFoldersAndLinks) {
  SmallStore store;
  store.folder.Write("root/d/f", "");
  if (kHasLinks)
    fs::create_symlink("nowhere", store.folder.Host("root/dangling"));
  else
    store.folder.Write("root/dangling", "");
  for (const char* name : {"d", "d/", "d/f", "\\d\\f", "d//f", "dangling", "", "../root/d"}) {
    EXPECT_EQ(store.opr.ExistsRemote(Arg(name)), 0) << name;
  }
  const string endless(300, 'l');
  for (const char* name : {"none", "d/none", "d/f/x", "d/f/", endless.c_str()})
    EXPECT_EQ(store.opr.ExistsRemote(Arg(name)), 20) << name;
  EXPECT_EQ(store.opr.ExistsRemote(Arg("D/F")), kIgnoresCase ? 0 : 20);
}

TEST(DirectoryListing, ComparePredictsTransfer) {
  SmallStore store;
  store.folder.Write("root/f", "abc");
  store.folder.Write("work/g", "abc");
  int equal = 7;
  EXPECT_EQ(store.opr.CompareRemote(Arg("f"), Arg("f"), &equal), 0);
  EXPECT_EQ(equal, 0);
  EXPECT_EQ(store.opr.CompareRemote(Arg("f"), Arg("g"), &equal), 0);
  EXPECT_EQ(equal, 1);
  const string endless(300, 'l');
  EXPECT_EQ(store.opr.CompareRemote(Arg(endless), Arg("g"), &equal), 20);
  EXPECT_EQ(store.opr.CompareRemote(Arg("f"), Arg(endless), &equal), 21);
  EXPECT_EQ(store.folder.Tree("work"), std::vector<string>{"g"});
}

}  // namespace
