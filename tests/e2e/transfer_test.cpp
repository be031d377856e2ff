#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

struct Settings {
  const char* name;
  const char* lines;
};

class TransferSettings : public TvlTest, public testing::WithParamInterface<Settings> {};

INSTANTIATE_TEST_SUITE_P(Policies, TransferSettings,
                         testing::Values(Settings{"HashPlain", "ZipOnTransfert=0\nFileCompare=HASH"},
                                         Settings{"HashZip", "ZipOnTransfert=1\nFileCompare=HASH"},
                                         Settings{"TimePlain", "ZipOnTransfert=0\nFileCompare=time"},
                                         Settings{"TimeZip", "ZipOnTransfert=1\nFileCompare=time"}),
                         [](const auto& test) { return test.param.name; });

std::string Noise(std::size_t size) {
  std::string bytes;
  for (unsigned int state = 1; bytes.size() < size; state = state * 1664525U + 1013904223U)
    bytes += static_cast<char>(state >> 24U);
  return bytes;
}

// A tree comes back as it went, empty folders and odd names included, and a second run finds nothing to do.
TEST_P(TransferSettings, TreeGoesAndComesBackOnce) {
  Configure(GetParam().lines);
  const std::vector<std::string> names = {"plain.txt",
                                          "empty",
                                          "two words.txt",
                                          " blanks ",
                                          ".hidden",
                                          "...",
                                          "-n",
                                          "a|b",
                                          "[a,b]",
                                          "%%",
                                          "\xC3\xA0.txt",
                                          "\xE0\xFF.bin",
                                          "new\nline",
                                          std::string(255 - folder.Host("store/").size() - 5, 'x'),
                                          "deep/er/still/file"};
  for (const std::string& name : names)
    folder.Write("work/t/" + name, name == "empty" ? "" : name + Noise(999));
  folder.Write("work/t/large.bin", Noise(700000));
  folder.Make("work/t/hollow/inner");
  Expect(0, {"put", "-r", "t"});
  EXPECT_EQ(ContentsOf(folder.Host("store/t")), ContentsOf(folder.Host("work/t")));
  folder.Make("other");
  const std::string other = folder.Host("other");
  Expect(0, {"--work", other, "get", "-r", "t"});
  EXPECT_EQ(ContentsOf(folder.Host("other/t")), ContentsOf(folder.Host("work/t")));

  const Snapshot before = SnapshotOf(folder.Host("other"));
  const ProcessResult again = Expect(0, {"--work", other, "get", "-r", "t"});
  EXPECT_EQ(again.out, "0 files transferred (0 B), 16 already the same\n");
  EXPECT_EQ(SnapshotOf(folder.Host("other")), before);
  EXPECT_EQ(Expect(0, {"put", "-r", "t"}).out, again.out);
}

TEST_P(TransferSettings, SayForOneFileWhetherItMoved) {
  Configure(GetParam().lines);
  folder.Write("work/d/a.txt", "one");
  EXPECT_EQ(Expect(0, {"put", "d/a.txt"}).out, "d/a.txt: transferred\n");
  EXPECT_EQ(Expect(0, {"put", "d/a.txt"}).out, "d/a.txt: already the same\n");
  EXPECT_EQ(Expect(0, {"put", "-f", "d/a.txt"}).out, "d/a.txt: transferred\n");
  EXPECT_EQ(Expect(0, {"-q", "get", "d/a.txt", "copy"}).out, "");
  EXPECT_EQ(folder.Read("work/copy"), "one");
  folder.Write("work/d/a.txt", "longer");
  EXPECT_EQ(Expect(0, {"get", "d/a.txt"}).out, "d/a.txt: transferred\n");
  EXPECT_EQ(folder.Read("work/d/a.txt"), "one");
}

// Which names on the two sides a command line stands for.
TEST_F(TvlTest, NamesOnBothSides) {
  for (const char* name : {"a", "b", "d/c"}) folder.Write(std::string("work/") + name, name);
  const std::string outside = folder.Host("outside");
  struct Case {
    std::vector<std::string> arguments;
    std::vector<std::string> made;
  };
  const std::vector<Case> cases = {
      {{"put", "a", "b", "d/c"}, {"store/a", "store/b", "store/d/c"}},
      {{"put", "a", "x/y"}, {"store/x/y"}},
      {{"put", folder.Host("work/d/c"), "z"}, {"store/z"}},
      {{"put", "-t", "into", "a", "d/c"}, {"store/into/a", "store/into/c"}},
      {{"put", "d\\c", "turned\\c"}, {"store/turned/c"}},
      {{"get", "a", outside + "/n/m"}, {"outside/n/m"}},
      {{"get", "-t", outside, "a", "into/c"}, {"outside/a", "outside/c"}},
      {{"get", "-r", "into", "tree"}, {"work/tree/a", "work/tree/c"}},
      {{"get", "-r", "-t", outside, "into"}, {"outside/into/a", "outside/into/c"}},
      {{"--work", outside + "/new", "get", "d/c"}, {}},
  };
  folder.Make("outside");
  for (const Case& each : cases) {
    Expect(0, each.arguments);
    for (const std::string& name : each.made) EXPECT_TRUE(folder.Exists(name)) << name;
  }
  EXPECT_EQ(folder.Read("outside/new/d/c"), "d/c");
  folder.Write("work/sub/a", "");
  for (const std::vector<std::string>& refused : std::vector<std::vector<std::string>>{
           {"put", "../work/a"}, {"put", "/etc/hostname"}, {"put", "-t", "x", "a", "sub/a"}, {"get", ".."}})
    Expect(2, refused);
  Expect(1, {"get", "into"});
  Expect(1, {"get", "a", "tree"});
}

TEST_F(TvlTest, DryRunChangesNothing) {
  folder.Write("work/t/new", "new");
  folder.Write("work/t/same", "same");
  folder.Make("work/t/hollow");
  folder.Write("store/t/same", "same");
  folder.Write("store/s/far", "far");
  fs::remove_all(folder.Host("store/tmp"));
  const Snapshot before = SnapshotOf(folder.Host());
  const std::string missing = folder.Host("missing");
  const ProcessResult put = Expect(0, {"-n", "put", "-r", "t"});
  EXPECT_EQ(put.out,
            "t/hollow: folder would be made\nt/new: would be transferred\n"
            "1 file would be transferred (3 B), 1 already the same, 1 empty folder\n");
  EXPECT_EQ(Expect(0, {"-n", "--work", missing, "get", "s/far"}).out, "s/far: would be transferred\n");
  EXPECT_EQ(Expect(0, {"-n", "get", "-f", "t/same"}).out, "t/same: would be transferred\n");
  Expect(0, {"-n", "init", folder.Host("nowhere")});
  Expect(0, {"config", "show"});
  EXPECT_EQ(SnapshotOf(folder.Host()), before);
}

TEST_F(TvlTest, StoreUsedInPlaceHasNothingToDo) {
  folder.Write("store/a", "a");
  const Snapshot before = SnapshotOf(folder.Host("store"));
  for (const char* command : {"get", "put"}) {
    const ProcessResult result = Expect(0, {"-n", "--work", folder.Host("store"), command, "a"});
    EXPECT_EQ(result.out, "a: nothing to do: the working directory is the store's own folder\n");
    Expect(6, {"--work", "", command, "none"});
  }
  EXPECT_EQ(ContentsOf(folder.Host("store")).at("a"), "a");
  Expect(0, {"--work", folder.Host("store"), "get", "a", folder.Host("copy")});
  EXPECT_EQ(folder.Read("copy"), "a");
}

// What a walk leaves out is told, and the rest is done.
TEST_F(TvlTest, TreesLeaveOutWhatCannotGo) {
  folder.Write("work/t/file", "file");
  folder.Write("work/t/back\\slash", "");
  folder.Write("work/u/other", "other");
  mkfifo(folder.Host("work/t/pipe").c_str(), 0600);
  fs::create_symlink("file", folder.Host("work/t/link"));
  fs::create_symlink("..", folder.Host("work/t/up"));
  fs::create_symlink("nowhere", folder.Host("work/t/broken"));
  fs::create_directory_symlink("../u", folder.Host("work/t/across"));
  fs::create_directory_symlink("../t", folder.Host("work/u/back"));
  const ProcessResult put = Expect(3, {"put", "-r", "t"});
  for (const char* name : {"back\\slash", "pipe", "up", "broken", "across/back"})
    EXPECT_NE(put.err.find("t/" + std::string(name) + ": skipped"), std::string::npos) << name << "\n"
                                                                                       << put.err;
  const std::map<std::string, std::string> expected = {
      {"file", "file"}, {"link", "file"}, {"across/", ""}, {"across/other", "other"}};
  EXPECT_EQ(ContentsOf(folder.Host("store/t")), expected);
}

// The store's own files are no documents, and a working directory inside the store doesn't swallow itself.
TEST_F(TvlTest, WholeStoreWithoutItsOwnFiles) {
  folder.Write("store/a", "a");
  folder.Make("store/home");
  Expect(3, {"--work", folder.Host("store/home"), "get", "-r", "."});
  EXPECT_EQ(ContentsOf(folder.Host("store/home")), (std::map<std::string, std::string>{{"a", "a"}}));
  folder.Write("work/tvl.ini", "broken");
  folder.Write("work/tmp/locks/dtlocks.dat", "old");
  const std::string configuration = folder.Read("store/tvl.ini");
  const std::string locks = folder.Read("store/tmp/locks/dtlocks.dat");
  Expect(3, {"put", "-r", "."});
  EXPECT_EQ(folder.Read("store/tvl.ini"), configuration);
  EXPECT_EQ(folder.Read("store/tmp/locks/dtlocks.dat"), locks);
}

}  // namespace
