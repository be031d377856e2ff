#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "directory/small_store.h"

namespace {

using std::string;

void SetTime(const SmallStore& store, const string& name, time_t access, time_t modified) {
  const timespec times[2] = {{access, 5}, {modified, 7}};
  ASSERT_EQ(utimensat(AT_FDCWD, store.folder.Host(name).c_str(), times, 0), 0);
}

struct stat Status(const SmallStore& store, const string& name) {
  struct stat status = {};
  EXPECT_EQ(stat(store.folder.Host(name).c_str(), &status), 0) << name;
  return status;
}

// With or without compression and at every level of safety, transfers must have the same results, except for
// the codes of failures.
class DirectoryTransfer : public testing::TestWithParam<std::tuple<int, int>> {
 protected:
  static bool Packed() { return std::get<0>(GetParam()) != 0; }
  static int Level() { return std::get<1>(GetParam()); }
  static string Settings(const string& compare = "hash") {
    return "ZipOnTransfert=" + std::to_string(Packed()) + "\nFileCompare=" + compare +
           "\nSafeOnTransfert=" + std::to_string(Level()) + "\n";
  }
  // The codes for a source and for a target that cannot be used.
  static int SourceCode() { return Packed() ? 27 : 22; }
  static int TargetCode() { return Packed() ? 28 : 22; }
};

INSTANTIATE_TEST_SUITE_P(PackedAndSafe, DirectoryTransfer,
                         testing::Combine(testing::Values(0, 1), testing::Values(0, 1, 2)));

TEST_P(DirectoryTransfer, EachPolicyDecidesByItsOwnCriterion) {
  constexpr int kTime = -1000;
  const struct {
    const char* policy;
    string target;  // empty if there is none
    int time;
    int out;  // result for an input of 0
  } cases[] = {
      {"dumb", "", 0, 0},        {"dumb", "abcd", 0, 0},     {"hash", "", 0, 1},        {"hash", "abc", 0, 0},
      {"hash", "abd", kTime, 1}, {"time", "", 0, 1},         {"time", "abc", kTime, 0}, {"time", "abc", 0, 1},
      {"time", "abd", kTime, 0}, {"time", "abcd", kTime, 1},
  };
  for (const auto& row : cases) {
    for (const bool put : {false, true}) {
      for (const int force : {0, 1, -7}) {
        SmallStore store(Settings(row.policy));
        const string from = put ? "work/a/f" : "root/a/f";
        const string to = put ? "root/a/f" : "work/a/f";
        store.folder.Write(from, "abc");
        SetTime(store, from, 500, kTime);
        if (!row.target.empty()) {
          store.folder.Write(to, row.target);
          SetTime(store, to, 600, row.time);
        }
        int transferred = force;
        ASSERT_EQ(put ? store.Put("a/f", &transferred) : store.Get("a\\f", &transferred), 0);
        EXPECT_EQ(transferred, force != 0 ? 1 : row.out) << row.policy << row.target << force << put;
        EXPECT_EQ(store.folder.Read(from), "abc");
        if (transferred == 1) {
          const struct stat copied = Status(store, to);  // before reading it, which changes the access time
          EXPECT_EQ(copied.st_mtim.tv_sec, kTime);
          EXPECT_EQ(copied.st_mtim.tv_nsec, 7);
          EXPECT_EQ(copied.st_atim.tv_sec, Status(store, from).st_atim.tv_sec);
        }
        EXPECT_EQ(store.folder.Read(to), transferred == 1 ? "abc" : row.target);
        EXPECT_EQ(store.folder.Exists(to), transferred == 1 || !row.target.empty());
      }
    }
  }
}

TEST_P(DirectoryTransfer, FailuresDoNotChangeTransferred) {
  SmallStore store(Settings());
  store.folder.Write("root/file", "f");
  store.folder.Make("root/dir");
  store.folder.Write("work/file", "x");
  store.folder.Make("work/taken");
  const string endless(300, 'l');
  using Names = std::pair<string, string>;  // in the store, local
  const struct {
    bool put;
    int code;
    std::vector<Names> names;
  } cases[] = {
      {false, SourceCode(), {{"none", "n"}, {"sub/none", "sub/deep/n"}, {"dir", "n"}, {endless, "n"}}},
      {false, TargetCode(), {{"file", "taken"}, {"file", "file/x"}, {"file", ""}, {"file", endless}}},
      {true, SourceCode(), {{"n", "none"}, {"a/b/n", "none"}, {"n", endless}}},
      {true, TargetCode(), {{"dir", "file"}, {"file/x", "file"}, {"", "file"}, {endless, "file"}}},
  };
  for (const auto& row : cases) {
    for (const auto& [remote, local] : row.names) {
      int transferred = 5;
      EXPECT_EQ(row.put ? store.opr.PutRemote(Arg(remote), Arg(local), &transferred)
                        : store.opr.GetRemote(Arg(remote), Arg(local), &transferred),
                row.code)
          << remote << " " << local;
      EXPECT_EQ(transferred, 5);
    }
  }
  EXPECT_TRUE(store.folder.Exists("work/sub/deep")) << "folders are made before the transfer fails";
  EXPECT_TRUE(store.folder.Exists("root/a/b"));
  EXPECT_FALSE(store.folder.Exists("work/n"));
  EXPECT_EQ(store.folder.Read("root/file"), "f");
}

TEST_P(DirectoryTransfer, PutOfFolderOnlyCreatesIt) {
  SmallStore store(Settings());
  store.folder.Write("work/dir/inside", "x");
  store.folder.Write("root/taken", "file");
  int transferred = 5;
  EXPECT_EQ(store.opr.PutRemote(Arg("new/dir"), Arg("dir"), &transferred), 0);
  EXPECT_EQ(store.opr.PutRemote(Arg("new/dir"), Arg("dir/"), &transferred), 0);
  EXPECT_EQ(store.opr.PutRemote(Arg("taken"), Arg("dir"), &transferred), 20);
  EXPECT_EQ(transferred, 5);
  EXPECT_EQ(store.folder.Tree("root"), (std::vector<string>{"new", "new/dir", "taken"}));
}

TEST_P(DirectoryTransfer, DumbModeOnlyChecksName) {
  SmallStore store(Settings());
  store.folder.Write("root/f", "f");
  store.folder.Make("root/d");
  EXPECT_EQ(store.Open("root"), 0);
  int transferred = 5;
  for (const char* name : {"f", "d", "d/", ""})
    EXPECT_EQ(store.Get(name, &transferred) + store.Put(name, &transferred), 0) << name;
  for (const char* name : {"none", "new/f", "f/x"}) {
    EXPECT_EQ(store.Get(name, &transferred), 20) << name;
    EXPECT_EQ(store.Put(name, &transferred), 20) << name;
  }
  EXPECT_EQ(transferred, 5);
  EXPECT_EQ(store.folder.Tree("root"), (std::vector<string>{"d", "f"}));
  store.folder.Make("out");
  EXPECT_EQ(store.opr.CopyRemoteFile2Dir(Arg("f"), Arg(store.folder.Logical("out"))), 0);
  EXPECT_EQ(store.folder.Read("out/f"), "f");
}

TEST_P(DirectoryTransfer, CopyToAnyPlaceDistinguishesFilesAndFolders) {
  SmallStore store(Settings());
  store.folder.Write("root/docs/A.TXT", "abc");
  store.folder.Write("root/top", "t");
  for (const char* name : {"root/docs/A.TXT", "root/top"}) SetTime(store, name, 500, 1000);
  const string endless = "\\" + string(300, 'l');
  const struct {
    const char *remote, *target;  // `target` below the folder "out"
    int code;
    const char* made;
  } cases[] = {
      {"docs\\A.TXT", "", 0, "A.TXT"},
      {"docs\\A.TXT", "\\", 0, "A.TXT"},
      {"docs\\A.TXT", "\\a.txt", 0, "a.txt"},
      {"docs\\A.TXT", "\\b.txt", TargetCode(), ""},  // a missing folder
      {"docs/A.TXT", "", TargetCode(), ""},
      {"docs/A.TXT", "\\sub", 0, "sub/docs/A.TXT"},
      {"top", "\\sub", 0, "sub/top"},
      {"none", "", SourceCode(), ""},
      {endless.c_str(), "", SourceCode(), ""},
      {"top", endless.c_str(), TargetCode(), ""},
      {"docs", "", SourceCode(), ""},
  };
  for (const auto& row : cases) {
    std::filesystem::remove_all(store.folder.Host("out"));
    store.folder.Make("out/sub/docs");
    const string out = store.folder.Logical("out") + row.target;
    EXPECT_EQ(store.opr.CopyRemoteFile2Dir(Arg(row.remote), Arg(out)), row.code) << row.remote << row.target;
    EXPECT_EQ(store.folder.Tree("out").size(), row.code == 0 ? 3U : 2U) << row.remote << row.target;
    if (row.code != 0) continue;
    const string made = string("out/") + row.made;
    const string source = row.remote == string("top") ? "root/top" : "root/docs/A.TXT";
    EXPECT_EQ(store.folder.Read(made), store.folder.Read(source));
    EXPECT_EQ(Status(store, made).st_mtim.tv_sec, 1000);
  }
}

TEST_P(DirectoryTransfer, FollowsLinksOfSources) {
  SmallStore store(Settings());
  store.folder.Write("elsewhere", "linked");
  std::filesystem::create_symlink("../elsewhere", store.folder.Host("root/link"));
  int transferred = 0;
  EXPECT_EQ(store.Get("link", &transferred), 0);
  EXPECT_EQ(store.folder.Read("work/link"), "linked");
  EXPECT_FALSE(std::filesystem::is_symlink(store.folder.Host("work/link")));
}

TEST_P(DirectoryTransfer, CopiesFilesBeyondFourGigabytes) {
  if (getenv("TVL_TEST_LARGE") == nullptr) GTEST_SKIP() << "set TVL_TEST_LARGE=1";
  SmallStore store(Settings());
  store.folder.Write("root/f", "head");
  std::filesystem::resize_file(store.folder.Host("root/f"), 5'000'000'000);
  int transferred = 0;
  EXPECT_EQ(store.Get("f", &transferred), 0);
  EXPECT_EQ(std::filesystem::file_size(store.folder.Host("work/f")), 5'000'000'000U);
  transferred = 0;
  EXPECT_EQ(store.Get("f", &transferred), 0);
  EXPECT_EQ(transferred, 0);
}

// The times of a target that belongs to another user cannot be set, so the source gets those of the target.
TEST(DirectoryTransferByTime, ConvergesWithTargetOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  SmallStore store("ZipOnTransfert=1\nFileCompare=time\n");
  store.folder.Write("root/f", "there");
  store.folder.Write("work/f", "longer");
  SetTime(store, "work/f", 500, 1000);
  for (const char* name : {"", "root", "work", "tmp", "root/f"})
    std::filesystem::permissions(store.folder.Host(name), std::filesystem::perms(0777));
  constexpr uid_t kNobody = 65534;
  for (const char* name : {"work", "work/f"})
    ASSERT_EQ(chown(store.folder.Host(name).c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(seteuid(kNobody), 0);
  int first = 0;
  int second = 0;
  const int codes = store.Put("f", &first) + store.Put("f", &second);
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(codes, 0);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 0);
  EXPECT_EQ(store.folder.Read("root/f"), "longer");
}

}  // namespace
