#include <filesystem>
#include <string>

#include "e2e/file_hold.h"
#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

// A tree of the same names on both sides, `tvl` running in the local one.
class TreeCommand : public TvlTest {
 protected:
  TreeCommand() {
    for (const std::string side : {"store/", "work/"})
      for (const char* name : {"docs/a.doc", "docs/sub/b.txt", "top"}) folder.Write(side + name, side);
  }
};

TEST_F(TreeCommand, LocalFilesAreNotTouched) {
  const Tree before = SnapshotOf(folder.Host("work"));
  ExpectAll({{0, {"mv", "docs/a.doc", "docs/c.doc"}},
             {0, {"cp", "docs/c.doc", "docs\\d.doc"}},
             {0, {"cp", "-r", "docs/sub", "docs/new/deep"}},
             {0, {"mkdir", "docs/made"}},
             {0, {"cp", "top", "--", "-b"}},
             {0, {"rm", "docs/c.doc", "--", "-b", "top"}}});
  EXPECT_EQ(folder.Tree("store/docs"),
            (Words{"d.doc", "made", "new", "new/deep", "new/deep/b.txt", "sub", "sub/b.txt"}));
  Expect(0, {"mv", "docs/sub/b.txt", "docs/d.doc", "docs/made"});
  EXPECT_EQ(folder.Tree("store/docs/made"), (Words{"b.txt", "d.doc"}));
  ExpectAll({{0, {"mv", "docs", "other"}}, {0, {"rm", "-r", "other"}}});
  for (const char* name : {"store/-b", "store/top", "store/docs", "store/other"})
    EXPECT_FALSE(folder.Exists(name)) << name;
  EXPECT_EQ(SnapshotOf(folder.Host("work")), before);
}

TEST_F(TreeCommand, MirrorChangesWorkingDirectory) {
  ExpectAll({{2, {"rm", "-r", "docs", "--mirror"}},
             {0, {"--work", ".", "mkdir", "--mirror", "made"}},
             {0, {"--work", ".", "mv", "--mirror", "docs/a.doc", "made"}},
             {0, {"--work", ".", "rm", "--mirror", "-r", "docs"}}});
  EXPECT_EQ(ContentsOf(folder.Host("work")),
            (Tree{{"made/", ""}, {"made/a.doc", "work/"}, {"top", "work/"}}));
}

// Each refusal leaves both sides unchanged.
TEST_F(TreeCommand, RefusalsChangeNothing) {
  fs::create_directory_symlink(folder.Host("store"), folder.Host("store/docs/up"));
  const std::vector<Row> rows = {
      {1, {"rm", "docs"}, {"use -r to remove"}},
      {1, {"rm", "-r", "."}, {"is the store itself"}},
      {1, {"rm", "-r", ".."}, {"is the store itself or contains it"}},
      {1, {"rm", "-r", "docs/up/../"}, {"or contains it"}},
      {6, {"rm", "none"}, {"(code 20): No such file or directory"}},
      {6, {"rm", "-r", "none"}, {"(code 20)"}},
      {1, {"mkdir", "docs"}, {"already exists"}},
      {6, {"mkdir", "x/y"}, {"(code 25)"}},
      {2, {"mv", "docs"}, {"two names"}},
      {6, {"mv", "none", "x"}, {"(code 20)"}},
      {6, {"mv", "top", "docs/a.doc", "none"}, {"is not a folder"}},
      {1, {"mv", "top", "docs/a.doc"}, {"File exists"}},
      {1, {"mv", "docs", "docs/sub/docs"}, {"or inside it"}},
      {1, {"cp", "-r", "docs", "docs/sub"}, {"or inside it"}},
      {1, {"cp", "-r", "docs", "docs/new/deep"}, {"or inside it"}},
      {1, {"cp", "top", "top"}, {"is the same"}},
      {1, {"cp", "docs", "x"}, {"use -r for a whole tree"}},
      {6, {"cp", "none", "x"}, {"(code 20)"}},
      {6, {"ls", "none"}, {"(code 20)"}},
      {2, {"ls", "docs", "a/*"}, {"one folder"}},
      {1, {"--tcp", "host:1", "ls"}, {"(code 1)"}},
      {1, {"--tcp", "host:1", "rm", "-r", "docs"}, {"(code 1)"}},
      {0, {"-n", "rm", "-r", "docs", "top"}},
      {0, {"-n", "mv", "docs", "x"}},
      {3, {"-n", "cp", "-r", "docs", "x"}},
      {0, {"-n", "mkdir", "-p", "x/y/z"}},
  };
  const Tree before = ContentsOf(folder.Host());
  for (const Row& row : rows) {
    Expect(row.exit, row.arguments, row.output);
    EXPECT_EQ(ContentsOf(folder.Host()), before) << testing::PrintToString(row.arguments);
  }
}

TEST_F(TreeCommand, TreesInUseAreKept) {
  const FileHold held(folder.Host("store/docs/sub/b.txt"));
  const Words before = folder.Tree("store");
  ExpectAll({{4, {"rm", "-r", "docs"}, {"sub/b.txt, a file in use"}},
             {4, {"rm", "docs/sub/b.txt"}},
             {4, {"-n", "mv", "docs", "docs2"}},
             {4, {"mv", "docs", "docs2"}},
             {1, {"-n", "cp", "top", "docs/sub/b.txt"}, {"copying failed (code 22)"}},
             {1, {"cp", "top", "docs/sub/b.txt"}, {"copying failed (code 22)"}}});
  EXPECT_EQ(folder.Tree("store"), before);
}

TEST_F(TreeCommand, ListsEntries) {
  folder.Write("store/docs/B.DOC", "");
  for (const char* name : {"bar|bar", "bar|", "t.dat-journal", ".1.2.tvlpart"})
    folder.Write(std::string("store/docs/") + name, "");
  fs::resize_file(folder.Host("store/docs/B.DOC"), 5'000'000'000);
  fs::create_symlink("nowhere", folder.Host("store/docs/dead"));
  EXPECT_EQ(Expect(0, {"ls", "docs"}).out, "B.DOC\na.doc\nbar|\nbar|bar\ndead\nsub/\n");
  Expect(0, {"ls", "-a", "docs"}, {".1.2.tvlpart\n", "t.dat-journal\n"});
  EXPECT_EQ(Expect(0, {"ls", "docs\\", "*.doc"}).out, "B.DOC\na.doc\n");
  EXPECT_EQ(Expect(0, {"ls", "docs", "x*"}).out, "");
  EXPECT_EQ(Expect(0, {"ls", "docs/a.doc"}).out, "docs/a.doc\n");
  Expect(0, {"ls", "-l", "docs"}, {"5000000000  20"});
  ExpectJson(0, {"ls", "docs"},
             {R"("name":"B.DOC","kind":"file","size":5000000000,)", R"("name":"dead","kind":"dead link")",
              R"("name":"sub","kind":"folder")"});
}

// Copies follow links, removals do not; a failure of one name is reported and does not affect the others.
TEST_F(TreeCommand, LinksAndPartialFailures) {
  folder.Write("outside/o", "o");
  fs::create_directory_symlink(folder.Host("outside"), folder.Host("store/docs/out"));
  fs::create_directory_symlink("..", folder.Host("store/docs/loop"));
  fs::create_symlink("nowhere", folder.Host("store/docs/dead"));
  folder.Make("store/docs/empty");
  Expect(3, {"cp", "-r", "docs", "copy"});
  EXPECT_EQ(folder.Tree("store/copy"), (Words{"a.doc", "empty", "out", "out/o", "sub", "sub/b.txt"}));
  fs::remove(folder.Host("store/docs/loop"));
  Expect(0, {"rm", "-r", "docs"});
  EXPECT_EQ(folder.Read("outside/o"), "o");
  ExpectJson(
      6, {"rm", "none", "top"},
      {R"("command":"rm","subject":"none","exit":6)", R"({"command":"rm","name":"top","result":"removed"})"});
  EXPECT_FALSE(folder.Exists("store/top"));
  folder.Write("store/clash/f", "x");
  folder.Make("store/taken/clash/f/x");
  ExpectJson(1, {"cp", "-r", "clash", "taken"}, {R"("command":"cp","subject":"clash/f","exit":1)"});
}

}  // namespace
