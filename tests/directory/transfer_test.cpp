#include <cstdlib>

#include "base/low_file.h"
#include "directory/small_store.h"
#include "platform/held_file.h"

namespace {

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

  SmallStore store{Settings()};
};

INSTANTIATE_TEST_SUITE_P(PackedAndSafe, DirectoryTransfer,
                         testing::Combine(testing::Values(0, 1), testing::Values(0, 1, 2)));

TEST_P(DirectoryTransfer, EachPolicyDecidesByItsOwnCriterion) {
  constexpr int kTime = -1000;
  constexpr int kNanoseconds = 700;  // some systems count 100 at a time
  // The policy; contents (empty if there is none) and time of the target; the output for an input of 0.
  const std::tuple<const char*, string, int, int> cases[] = {
      {"dumb", "", 0, 0},        {"dumb", "abcd", 0, 0},     {"hash", "", 0, 1},        {"hash", "abc", 0, 0},
      {"hash", "abd", kTime, 1}, {"time", "", 0, 1},         {"time", "abc", kTime, 0}, {"time", "abc", 0, 1},
      {"time", "abd", kTime, 0}, {"time", "abcd", kTime, 1},
  };
  for (const auto& [policy, target, time, out] : cases) {
    for (const bool put : {false, true}) {
      for (const int force : {0, 1, -7}) {
        SmallStore each(Settings(policy));
        const string from = put ? "work/a/f" : "root/a/f";
        const string to = put ? "root/a/f" : "work/a/f";
        each.folder.Write(from, "abc");
        each.folder.SetTimes(from, {500, 5}, {kTime, kNanoseconds});
        if (!target.empty()) {
          each.folder.Write(to, target);
          each.folder.SetTimes(to, {600, 5}, {time, 7});
        }
        ASSERT_EQ(put ? each.Put("a/f", force) : each.Get("a\\f", force), 0);
        const int transferred = each.transferred;
        EXPECT_EQ(transferred, force != 0 ? 1 : out) << policy << target << force << put;
        EXPECT_EQ(each.folder.Read(from), "abc");
        if (transferred == 1) {
          const FileInfo copied = each.folder.Status(to);  // before reading it, which changes the access time
          EXPECT_EQ(copied.st_mtim.tv_sec, kTime);
          EXPECT_EQ(copied.st_mtim.tv_nsec, kNanoseconds);
          const time_t late = copied.st_atim.tv_sec - each.folder.Status(from).st_atim.tv_sec;
          EXPECT_LE(std::abs(late), 2) << "one of them may have been read since";
        }
        EXPECT_EQ(each.folder.Read(to), transferred == 1 ? "abc" : target);
        EXPECT_EQ(each.folder.Exists(to), transferred == 1 || !target.empty());
      }
    }
  }
}

TEST_P(DirectoryTransfer, FailuresDoNotChangeTransferred) {
  store.folder.Write("root/file", "f");
  store.folder.Make("root/dir");
  store.folder.Write("root/held", "h");
  store.folder.Write("work/file", "x");
  store.folder.Make("work/taken");
  const tvl::LowFile held(store.folder.Logical("root/held").c_str(), kLowReadWrite);
  ASSERT_TRUE(tvl::HoldFile(held.Handle()));
  const string endless(300, 'l');
  using Names = std::pair<string, string>;  // in the store, local
  const std::tuple<bool, int, std::vector<Names>> cases[] = {
      {false, SourceCode(), {{"none", "n"}, {"sub/none", "sub/deep/n"}, {"dir", "n"}, {endless, "n"}}},
      {false, TargetCode(), {{"file", "taken"}, {"file", "file/x"}, {"file", ""}, {"file", endless}}},
      {true, SourceCode(), {{"n", "none"}, {"a/b/n", "none"}, {"n", endless}}},
      {true,
       TargetCode(),
       {{"dir", "file"}, {"file/x", "file"}, {"held", "file"}, {"", "file"}, {endless, "file"}}},
  };
  for (const auto& [put, code, names] : cases) {
    for (const auto& [remote, local] : names) {
      EXPECT_EQ(put ? store.Put(remote, local, 5) : store.Get(remote, local, 5), code)
          << remote << " " << local;
      EXPECT_EQ(store.transferred, 5);
    }
  }
  EXPECT_TRUE(store.folder.Exists("work/sub/deep")) << "folders are made before the transfer fails";
  EXPECT_TRUE(store.folder.Exists("root/a/b"));
  EXPECT_FALSE(store.folder.Exists("work/n"));
  EXPECT_EQ(store.folder.Read("root/file") + store.folder.Read("root/held"), "fh");
  tvl::ReleaseFile(held.Handle());
}

TEST_P(DirectoryTransfer, PutOfFolderOnlyCreatesIt) {
  store.folder.Write("work/dir/inside", "x");
  store.folder.Write("root/taken", "file");
  EXPECT_EQ((Codes{store.Put("new/dir", "dir", 5), store.Put("new/dir", "dir/", 5),
                   store.Put("taken", "dir", 5), store.transferred}),
            (Codes{0, 0, 20, 5}));
  EXPECT_EQ(store.folder.Tree("root"), (std::vector<string>{"new", "new/dir", "taken"}));
}

TEST_P(DirectoryTransfer, DumbModeOnlyChecksName) {
  store.folder.Write("root/f", "f");
  store.folder.Make("root/d");
  EXPECT_EQ(store.Open("root"), 0);
  for (const auto& [name, code] :
       {std::pair{"f", 0}, {"d", 0}, {"d/", 0}, {"", 0}, {"none", 20}, {"new/f", 20}, {"f/x", 20}}) {
    EXPECT_EQ(store.Get(name, 5), code) << name;
    EXPECT_EQ(store.Put(name, 5), code) << name;
  }
  EXPECT_EQ(store.transferred, 5);
  EXPECT_EQ(store.folder.Tree("root"), (std::vector<string>{"d", "f"}));
  store.folder.Make("out");
  EXPECT_EQ(store.opr.CopyRemoteFile2Dir(Arg("f"), Arg(store.folder.Logical("out"))), 0);
  EXPECT_EQ(store.folder.Read("out/f"), "f");
}

TEST_P(DirectoryTransfer, CopyToAnyPlaceDistinguishesFilesAndFolders) {
  store.folder.Write("root/docs/A.TXT", "abc");
  store.folder.Write("root/top", "t");
  for (const char* name : {"root/docs/A.TXT", "root/top"}) store.folder.SetTimes(name, {500, 5}, {1000, 7});
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
    fs::remove_all(store.folder.Host("out"));
    store.folder.Make("out/sub/docs");
    const string out = store.folder.Logical("out") + row.target;
    EXPECT_EQ(store.opr.CopyRemoteFile2Dir(Arg(row.remote), Arg(out)), row.code) << row.remote << row.target;
    EXPECT_EQ(store.folder.Tree("out").size(), row.code == 0 ? 3U : 2U) << row.remote << row.target;
    if (row.code != 0) continue;
    const string made = string("out/") + row.made;
    const string source = row.remote == string("top") ? "root/top" : "root/docs/A.TXT";
    EXPECT_EQ(store.folder.Read(made), store.folder.Read(source));
    EXPECT_EQ(store.folder.Status(made).st_mtim.tv_sec, 1000);
  }
}

TEST_P(DirectoryTransfer, FollowsLinksOfSources) {
  TVL_SKIP_WITHOUT_LINKS();
  store.folder.Write("elsewhere", "linked");
  fs::create_symlink("../elsewhere", store.folder.Host("root/link"));
  EXPECT_EQ(store.Get("link"), 0);
  EXPECT_EQ(store.folder.Read("work/link"), "linked");
  EXPECT_FALSE(fs::is_symlink(store.folder.Host("work/link")));
}

TEST_P(DirectoryTransfer, CopiesFilesBeyondFourGigabytes) {
  if (getenv("TVL_TEST_LARGE") == nullptr) GTEST_SKIP() << "set TVL_TEST_LARGE=1";
  store.folder.Write("root/f", "head");
  fs::resize_file(store.folder.Host("root/f"), 5'000'000'000);
  EXPECT_EQ(store.Get("f"), 0);
  EXPECT_EQ(fs::file_size(store.folder.Host("work/f")), 5'000'000'000U);
  EXPECT_EQ(store.Get("f"), 0);
  EXPECT_EQ(store.transferred, 0);
}

}  // namespace
