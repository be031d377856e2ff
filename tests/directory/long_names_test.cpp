#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "directory/small_store.h"

namespace {

using std::string;

// A name below a folder such that the full path has `length` characters, in components that every file system
// takes.
string NameFor(const string& folder, std::size_t length) {
  string name;
  while (folder.size() + name.size() < length) name += name.size() % 100 == 99 ? '/' : 'n';
  if (!name.empty() && name.back() == '/') name.back() = 'n';
  return name;
}

// 259 characters are the most that a path may have; what is longer fails and touches nothing.
class LongNames : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(PlainAndPacked, LongNames, testing::Values(0, 1));

TEST_P(LongNames, FailWithTheCodeOfTheirFile) {
  SmallStore store("ZipOnTransfert=" + std::to_string(GetParam()) + "\n");
  const int source_code = GetParam() == 0 ? 22 : 27;
  const int target_code = GetParam() == 0 ? 22 : 28;
  const string root = store.opr.ServerRoot();
  const string work = store.opr.WorkingDirectory();
  for (const std::size_t length : {259U, 260U, 4096U}) {
    const bool fits = length <= 259;
    const string remote = NameFor(root, length);
    const string local = NameFor(work, length);
    if (fits) {
      store.folder.Write("root/" + remote, "r");
      store.folder.Write("work/" + local, "w");
    }
    store.folder.Write("root/short", "s");
    store.folder.Write("work/short", "s");
    int transferred = 7;
    EXPECT_EQ(store.opr.ExistsRemote(Arg(remote)), fits ? 0 : 20) << length;
    EXPECT_EQ(store.opr.GetRemote(Arg(remote), Arg("got"), &transferred), fits ? 0 : source_code) << length;
    EXPECT_EQ(store.opr.PutRemote(Arg("put"), Arg(local), &transferred), fits ? 0 : source_code) << length;
    EXPECT_EQ(store.opr.GetRemote(Arg("short"), Arg(local), &transferred), fits ? 0 : target_code) << length;
    EXPECT_EQ(store.opr.PutRemote(Arg(remote), Arg("short"), &transferred), fits ? 0 : target_code) << length;
    EXPECT_EQ(transferred, fits ? 1 : 7) << length;
    const string out = NameFor(store.folder.Logical("out\\"), length - 6);
    store.folder.Make(fits ? "out/" + out : "out");
    const string target = store.folder.Logical("out\\" + out);
    EXPECT_EQ(store.opr.CopyRemoteFile2Dir(Arg("short"), Arg(target)), fits ? 0 : target_code) << length;
    const int code = store.opr.CopyRemoteFile2Dir(Arg(remote), Arg(store.folder.Logical("out")));
    EXPECT_EQ(code == source_code, !fits) << length;
    int count = 7;
    CString list;
    EXPECT_EQ(store.opr.GetRemoteDirContent(Arg(remote), Arg("*"), &count, list), 20) << length;
    const string pattern(length - root.size() - 1, 'p');
    EXPECT_EQ(store.opr.GetRemoteDirContent(Arg(""), Arg(pattern), &count, list), fits ? 0 : 20) << length;
    int equal = 7;
    EXPECT_EQ(store.opr.CompareRemote(Arg(remote), Arg("short"), &equal), fits ? 0 : 20);
    EXPECT_EQ(store.opr.CompareRemote(Arg("short"), Arg(local), &equal), fits ? 0 : 21);
  }
}

TEST(LongNames, AConnectionNeedsRoomForItsFolders) {
  SmallStore store;
  string deep = "d";
  while (store.folder.Host(deep).size() < 150) deep += "/" + string(60, 'd');
  for (const std::size_t length : {258U, 259U, 5000U}) {
    string work = store.folder.Logical(deep + "/");
    work.resize(length, 'w');
    store.folder.Make(deep);
    EXPECT_EQ(store.opr.Open(Arg(work), Arg(store.folder.Logical("store.ini")), Arg("test")),
              length < 259 ? 0 : 21)
        << length;
    EXPECT_EQ(store.opr.IsOpened(), length < 259);
    EXPECT_LE(std::strlen(store.opr.WorkingDirectory()), 259U);
  }
}

}  // namespace
