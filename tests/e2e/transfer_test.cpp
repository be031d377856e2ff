#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

class TransferSettings : public TvlTest, public testing::WithParamInterface<const char*> {
 protected:
  TransferSettings() { Configure(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Policies, TransferSettings,
                         testing::Values("ZipOnTransfert=0\nFileCompare=HASH",
                                         "ZipOnTransfert=1\nFileCompare=HASH",
                                         "ZipOnTransfert=0\nFileCompare=time",
                                         "ZipOnTransfert=1\nFileCompare=time"));

// A tree is fetched as it was stored, including empty folders and unusual names, and a second run has nothing
// to do.
TEST_P(TransferSettings, TransferTreeOnce) {
  const std::size_t longest = 255 - folder.Host("store/").size() - 5;
  for (const std::string& name :
       Words{"two words.txt", " blanks ", ".hidden", "...", "-n", "a|b", "[a,b]", "%%", "\xC3\xA0.txt",
             "\xE0\xFF.bin", "new\nline", std::string(longest, 'x'), "deep/er/still/file"})
    folder.Write("work/t/" + name, name);
  std::string large;
  for (int i = 0; large.size() < 700000; ++i) large += std::to_string(i * 7919);
  folder.Write("work/t/large.bin", large);
  folder.Write("work/t/empty", "");
  folder.Make("work/t/hollow/inner");
  Expect(0, {"put", "-r", "t"});
  EXPECT_EQ(ContentsOf(folder.Host("store/t")), ContentsOf(folder.Host("work/t")));
  const std::string other = folder.Host("other");
  folder.Make("other");
  Expect(0, {"--work", other, "get", "-r", "t"});
  EXPECT_EQ(ContentsOf(other + "/t"), ContentsOf(folder.Host("work/t")));

  const Tree before = SnapshotOf(other);
  const std::string again = Expect(0, {"--work", other, "get", "-r", "t"}).out;
  EXPECT_EQ(again, "0 files transferred (0 B), 15 already the same\n");
  EXPECT_EQ(SnapshotOf(other), before);
  EXPECT_EQ(Expect(0, {"put", "-r", "t"}).out, again);
}

TEST_P(TransferSettings, ReportWhetherFileWasTransferred) {
  folder.Write("work/d/a.txt", "one");
  ExpectAll({{0, {"put", "d/a.txt"}, {"d/a.txt: transferred\n"}},
             {0, {"put", "d/a.txt"}, {"d/a.txt: already the same\n"}},
             {0, {"put", "-f", "d/a.txt"}, {"d/a.txt: transferred\n"}}});
  EXPECT_EQ(Expect(0, {"-q", "get", "d/a.txt", "--as", "copy"}).out, "");
  EXPECT_EQ(folder.Read("work/copy"), "one");
  folder.Write("work/d/a.txt", "longer");
  Expect(0, {"get", "d/a.txt"}, {"d/a.txt: transferred\n"});
  EXPECT_EQ(folder.Read("work/d/a.txt"), "one");
}

// How a command line maps to names on both sides.
TEST_F(TvlTest, NamesOnBothSides) {
  for (const std::string name : {"a", "b", "d/c", "sub/a"}) folder.Write("work/" + name, name);
  const std::string outside = folder.Host("outside");
  folder.Make("outside");
  const struct {
    Words arguments, made;
  } rows[] = {
      {{"put", "a", "b", "d/c"}, {"store/a", "store/b", "store/d/c"}},
      {{"put", "a", "sub/a"}, {"store/a", "store/sub/a"}},
      {{"put", "a", "--as", "x/y"}, {"store/x/y"}},
      {{"put", folder.Host("work/d/c"), "--as", "z"}, {"store/z"}},
      {{"put", "-t", "into", "a", "d/c"}, {"store/into/a", "store/into/c"}},
      {{"put", "d\\c", "--as", "turned\\c"}, {"store/turned/c"}},
      {{"get", "a", "--as", outside + "/n/m"}, {"outside/n/m"}},
      {{"get", "-t", outside, "a", "into/c"}, {"outside/a", "outside/c"}},
      {{"get", "-r", "into", "--as", "tree"}, {"work/tree/a", "work/tree/c"}},
      {{"get", "-r", "-t", outside, "into"}, {"outside/into/a", "outside/into/c"}},
      {{"--work", outside + "/new", "get", "d/c"}, {"outside/new/d/c"}},
  };
  for (const auto& row : rows) {
    Expect(0, row.arguments);
    for (const std::string& name : row.made) EXPECT_TRUE(folder.Exists(name)) << name;
  }
  ExpectAll({{2, {"put", "../work/a"}},
             {2, {"put", "/etc/hostname"}},
             {2, {"put", "-t", "x", "a", "sub/a"}},
             {2, {"get", ".."}},
             {1, {"get", "into"}},
             {1, {"get", "a", "--as", "tree"}},
             {2, {"put", "a", "b", "--as", "x"}},
             {2, {"put", "a", "-t", "x", "--as", "y"}},
             {0, {"put", "a", "--as", "x/y"}, {"a -> x/y: already the same\n"}}});
}

TEST_F(TvlTest, StoreUsedInPlaceHasNothingToDo) {
  folder.Write("store/a", "a");
  const std::string store = folder.Host("store");
  for (const char* command : {"get", "put"}) {
    Expect(0, {"-n", "--work", store, command, "a"},
           {"a: nothing to do: the working directory is the store's own folder\n"});
    Expect(6, {"--work", "", command, "none"});
  }
  EXPECT_EQ(folder.Read("store/a"), "a");
  Expect(0, {"--work", store, "get", "a", "--as", folder.Host("copy")});
  EXPECT_EQ(folder.Read("copy"), "a");
  ExpectAll({{0, {"--work", store, "get", "a", "--as", "d/b"}, {"transferred"}},
             {0, {"--work", store, "put", "a", "--as", "c"}, {"transferred"}}});
  EXPECT_EQ(folder.Read("store/d/b") + folder.Read("store/c"), "aa");
}

// Skipped names are reported, and the rest is transferred.
TEST_F(TvlTest, TreesSkipWhatCannotBeTransferred) {
  folder.Write("work/t/file", "file");
  folder.Write("work/t/back\\slash", "");
  folder.Write("work/u/other", "other");
  mkfifo(folder.Host("work/t/pipe").c_str(), 0600);
  fs::create_symlink("file", folder.Host("work/t/link"));
  fs::create_symlink("..", folder.Host("work/t/up"));
  fs::create_symlink("nowhere", folder.Host("work/t/broken"));
  fs::create_directory_symlink("../u", folder.Host("work/t/across"));
  fs::create_directory_symlink("../t", folder.Host("work/u/back"));
  Expect(3, {"put", "-r", "t"},
         {"t/back\\slash: skipped", "t/pipe: skipped", "t/up: skipped", "t/broken: skipped",
          "t/across/back: skipped"});
  EXPECT_EQ(ContentsOf(folder.Host("store/t")),
            (Tree{{"file", "file"}, {"link", "file"}, {"across/", ""}, {"across/other", "other"}}));
}

// The store's own files are not documents, and a working directory inside the store is not copied into
// itself.
TEST_F(TvlTest, WholeStoreExcludesOwnFiles) {
  folder.Write("store/a", "a");
  folder.Make("store/home");
  Expect(3, {"--work", folder.Host("store/home"), "get", "-r", "."});
  EXPECT_EQ(ContentsOf(folder.Host("store/home")), (Tree{{"a", "a"}}));
  const Tree before = ContentsOf(folder.Host("store"));
  folder.Write("work/tvl.ini", "broken");
  folder.Write("work/tmp/locks/dtlocks.dat", "old");
  Expect(3, {"put", "-r", "."});
  EXPECT_EQ(ContentsOf(folder.Host("store")), before);
}

}  // namespace
