#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <tvlclient/tvl.h>

#include "directory/small_store.h"

namespace {

using std::string;

std::vector<string> Split(const CString& list) {
  std::vector<string> names;
  std::stringstream stream(list.GetString());
  for (string name; std::getline(stream, name, '|');) names.push_back(name);
  std::sort(names.begin(), names.end());
  return names;
}

TEST(Listing, GivesNamesAndTheirNumber) {
  SmallStore store;
  for (const char* name : {"d/a.txt", "d/B.TXT", "d/noext", "d/sub/x", "d/back\\slash"})
    store.folder.Write(string("root/") + name, "");
  std::filesystem::create_symlink("..", store.folder.Host("root/d/up"));
  store.folder.Make("root/empty");
  using Names = std::vector<string>;
  const struct {
    const char *directory, *pattern;
    int code;
    Names names;
  } cases[] = {
      {"d", "*.*", 0, {"B.TXT", "a.txt", "noext", "sub"}},
      {"d\\", "*.*", 0, {"B.TXT", "a.txt", "noext", "sub"}},
      {"/d/", "*.txt", 0, {"B.TXT", "a.txt"}},
      {"d/sub", "*", 0, {"x"}},
      {"d", "sub", 0, {"sub"}},
      {"", "*", 0, {"d", "empty"}},
      {"empty", "*.*", 0, {}},
      {"d", "none", 0, {}},
      {"none", "*.*", 20, {}},
      {"d/a.txt", "*.*", 20, {}},
  };
  for (const auto& row : cases) {
    int count = -5;
    CString list = "before";
    EXPECT_EQ(store.opr.GetRemoteDirContent(Arg(row.directory), Arg(row.pattern), &count, list), row.code)
        << row.directory;
    EXPECT_EQ(count, row.code == 0 ? static_cast<int>(row.names.size()) : -5);
    ASSERT_EQ(string(list).substr(0, 6), "before") << "names go behind what is there";
    const CString names = list.GetString() + 6;
    EXPECT_EQ(Split(names), row.names) << row.directory << row.pattern;
    EXPECT_EQ(std::count(names.GetString(), names.GetString() + names.GetLength(), '|'),
              std::max(count, 1) - 1);
  }
}

TEST(Listing, PumpsOnceAndBehindEachEntry) {
  SmallStore store;
  for (const char* name : {"a", "b", "c"}) store.folder.Write(string("root/d/") + name, "");
  int turns = 0;
  TVLSetPumpHook([](void* userData) { ++*static_cast<int*>(userData); }, &turns);
  const auto turns_of = [&](const char* pattern) {
    turns = 0;
    int count = 0;
    CString list;
    EXPECT_EQ(store.opr.GetRemoteDirContent(Arg("d"), Arg(pattern), &count, list), 0);
    return turns;
  };
  EXPECT_EQ(turns_of("*.*"), 1 + 5);  // with "." and ".."
  EXPECT_EQ(turns_of("none"), 1);
  TVLSetPumpHook(nullptr, nullptr);
}

TEST(Listing, ExistsAsksForFilesFoldersAndLinks) {
  SmallStore store;
  store.folder.Write("root/d/f", "");
  std::filesystem::create_symlink("nowhere", store.folder.Host("root/dangling"));
  for (const char* name : {"d", "d/", "d/f", "\\d\\f", "d//f", "dangling", "", "../root/d"}) {
    EXPECT_EQ(store.opr.ExistsRemote(Arg(name)), 0) << name;
  }
  for (const char* name : {"none", "d/none", "d/f/x", "D/F", "d/f/"})
    EXPECT_EQ(store.opr.ExistsRemote(Arg(name)), 20) << name;
}

TEST(Listing, CompareTellsWhatATransferWouldFind) {
  SmallStore store;
  store.folder.Write("root/f", "abc");
  int equal = 7;
  EXPECT_EQ(store.opr.CompareRemote(Arg("f"), Arg("f"), &equal), 0);
  EXPECT_EQ(equal, 0);
  store.folder.Write("work/g", "abc");
  EXPECT_EQ(store.opr.CompareRemote(Arg("f"), Arg("g"), &equal), 0);
  EXPECT_EQ(equal, 1);
  EXPECT_EQ(store.folder.Tree("work"), std::vector<string>{"g"});
}

}  // namespace
