#include <filesystem>
#include <string>
#include <vector>

#include "e2e/json_checker.h"
#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// A tree of the same names on both sides, `tvl` running in the local one.
class TreeCommand : public TvlTest {
 protected:
  TreeCommand() {
    for (const char* side : {"store/", "work/"}) {
      folder.Write(std::string(side) + "docs/a.doc", side);
      folder.Write(std::string(side) + "docs/sub/b.txt", side);
      folder.Write(std::string(side) + "top", side);
    }
  }

  // What the store holds beyond what it needs itself.
  [[nodiscard]] std::string Names(const std::string& below) const {
    std::string names;
    for (const std::string& name : folder.Tree("store/" + below)) names += name + " ";
    return names;
  }
};

TEST_F(TreeCommand, NothingLocalIsTouched) {
  const Snapshot before = SnapshotOf(folder.Host("work"));
  Expect(0, {"mv", "docs/a.doc", "docs/c.doc"});
  Expect(0, {"cp", "docs/c.doc", "docs\\d.doc"});
  Expect(0, {"cp", "-r", "docs/sub", "docs/new/deep"});
  Expect(0, {"mkdir", "docs/made"});
  Expect(0, {"rm", "docs/c.doc", "top"});
  EXPECT_EQ(Names("docs"), "d.doc made new new/deep new/deep/b.txt sub sub/b.txt ");
  Expect(0, {"mv", "docs/sub/b.txt", "docs/d.doc", "docs/made"});
  EXPECT_EQ(Names("docs/made"), "b.txt d.doc ");
  Expect(0, {"mv", "docs", "other"});
  Expect(0, {"rm", "-r", "other"});
  EXPECT_FALSE(folder.Exists("store/top"));
  EXPECT_FALSE(folder.Exists("store/docs"));
  EXPECT_FALSE(folder.Exists("store/other"));
  EXPECT_EQ(SnapshotOf(folder.Host("work")), before);
}

TEST_F(TreeCommand, MirrorFollowsWhenItIsNamed) {
  Expect(2, {"rm", "-r", "docs", "--mirror"});
  Expect(0, {"--work", ".", "mkdir", "--mirror", "made"});
  EXPECT_TRUE(folder.Exists("work/made"));
  Expect(0, {"--work", ".", "mv", "--mirror", "docs/a.doc", "made"});
  EXPECT_EQ(folder.Read("work/made/a.doc"), "work/");
  Expect(0, {"--work", ".", "rm", "--mirror", "-r", "docs"});
  EXPECT_FALSE(folder.Exists("work/docs"));
  EXPECT_TRUE(folder.Exists("work/top"));
}

// Each refusal leaves both sides as they were.
TEST_F(TreeCommand, RefusalsChangeNothing) {
  fs::create_directory_symlink(folder.Host("store"), folder.Host("store/docs/up"));
  struct Case {
    int exit;
    std::vector<std::string> arguments;
    std::string message;
  };
  const std::vector<Case> cases = {
      {1, {"rm", "docs"}, "-r removes trees"},
      {1, {"rm", "-r", "."}, "is the store itself"},
      {1, {"rm", "-r", ".."}, "is the store itself, or holds it"},
      {1, {"rm", "-r", "docs/up/../"}, "or holds it"},
      {6, {"rm", "none"}, "(code 20): No such file or directory"},
      {6, {"rm", "-r", "none"}, "(code 20)"},
      {1, {"mkdir", "docs"}, "is there already"},
      {1, {"mkdir", "x/y"}, "(code 25)"},
      {2, {"mv", "docs"}, "two names"},
      {6, {"mv", "none", "x"}, "(code 20)"},
      {6, {"mv", "top", "docs/a.doc", "none"}, "is no folder"},
      {1, {"mv", "top", "docs/a.doc"}, "File exists"},
      {1, {"mv", "docs", "docs/sub/docs"}, "lies in it"},
      {1, {"cp", "-r", "docs", "docs/sub"}, "lies in it"},
      {1, {"cp", "-r", "docs", "docs/new/deep"}, "lies in it"},
      {1, {"cp", "top", "top"}, "is the same"},
      {1, {"cp", "docs", "x"}, "-r takes trees"},
      {6, {"cp", "none", "x"}, "(code 20)"},
      {6, {"ls", "none"}, "(code 20)"},
      {2, {"ls", "docs", "a/*"}, "one folder"},
      {1, {"--tcp", "host:1", "ls"}, "(code 1)"},
      {1, {"--tcp", "host:1", "rm", "-r", "docs"}, "(code 1)"},
      {0, {"-n", "rm", "-r", "docs", "top"}, ""},
      {0, {"-n", "mv", "docs", "x"}, ""},
      {0, {"-n", "cp", "-r", "docs", "x"}, ""},
      {0, {"-n", "mkdir", "-p", "x/y/z"}, ""},
  };
  const auto before = ContentsOf(folder.Host());
  for (const Case& row : cases) {
    const ProcessResult result = Expect(row.exit, row.arguments);
    EXPECT_TRUE(Holds(result.err, row.message)) << testing::PrintToString(row.arguments) << result.err;
    EXPECT_TRUE(ContentsOf(folder.Host()) == before) << testing::PrintToString(row.arguments);
  }
}

// A lock held by a live process keeps its marker, and the table that it stands in.
TEST_F(TreeCommand, TreesInUseStayWhole) {
  folder.Write("store/tmp/aaa", "");
  Process holder(Start({"lock", "thing"}));
  ASSERT_TRUE(holder.AwaitOutput());
  const ProcessResult refused = Expect(4, {"rm", "-r", "tmp"});
  EXPECT_TRUE(Holds(refused.err, "tmp/")) << refused.err;
  EXPECT_TRUE(Holds(refused.err, "marker of a live instance")) << refused.err;
  EXPECT_TRUE(folder.Exists("store/tmp/aaa"));
  const ProcessResult table = Expect(4, {"rm", "-r", "tmp/locks"});
  EXPECT_TRUE(Holds(table.err, "dtlocks.dat, a table in use")) << table.err;
  Expect(4, {"mv", "tmp", "tmp2"});
  EXPECT_TRUE(folder.Exists("store/tmp/locks/dtlocks.dat"));
}

TEST_F(TreeCommand, ListingsAreTrue) {
  folder.Write("store/docs/B.DOC", "");
  folder.Write("store/docs/bar|bar", "");
  fs::resize_file(folder.Host("store/docs/B.DOC"), 5'000'000'000);
  fs::create_symlink("nowhere", folder.Host("store/docs/dead"));
  EXPECT_EQ(Expect(0, {"ls", "docs"}).out, "B.DOC\na.doc\nbar|bar\ndead\nsub/\n");
  EXPECT_EQ(Expect(0, {"ls", "docs\\", "*.doc"}).out, "B.DOC\na.doc\n");
  EXPECT_EQ(Expect(0, {"ls", "docs", "x*"}).out, "");
  EXPECT_EQ(Expect(0, {"ls", "docs/a.doc"}).out, "docs/a.doc\n");
  EXPECT_TRUE(Holds(Expect(0, {"ls", "-l", "docs"}).out, "5000000000  20"));
  const ProcessResult document = Expect(0, {"--json", "ls", "docs"});
  EXPECT_TRUE(AreJsonLines(document.out));
  EXPECT_TRUE(Holds(document.out, R"("name":"B.DOC","kind":"file","size":5000000000,)")) << document.out;
  EXPECT_TRUE(Holds(document.out, R"("name":"dead","kind":"dead link")")) << document.out;
  EXPECT_TRUE(Holds(document.out, R"("name":"sub","kind":"folder")")) << document.out;
}

// Copies go behind links, removals don't; and what goes wrong with one name is told and spares the others.
TEST_F(TreeCommand, LinksAndPartialFailures) {
  folder.Write("outside/o", "o");
  fs::create_directory_symlink(folder.Host("outside"), folder.Host("store/docs/out"));
  fs::create_directory_symlink("..", folder.Host("store/docs/loop"));
  fs::create_symlink("nowhere", folder.Host("store/docs/dead"));
  folder.Make("store/docs/empty");
  Expect(3, {"cp", "-r", "docs", "copy"});
  EXPECT_EQ(Names("copy"), "a.doc empty out out/o sub sub/b.txt ");
  fs::remove(folder.Host("store/docs/loop"));
  Expect(0, {"rm", "-r", "docs"});
  EXPECT_EQ(folder.Read("outside/o"), "o");
  const ProcessResult partial = Expect(6, {"--json", "rm", "none", "top"});
  EXPECT_TRUE(AreJsonLines(partial.out)) << partial.out;
  EXPECT_TRUE(Holds(partial.out, R"("name":"none","result":"failed")")) << partial.out;
  EXPECT_TRUE(Holds(partial.out, R"({"command":"rm","name":"top","result":"removed"})")) << partial.out;
  EXPECT_FALSE(folder.Exists("store/top"));
  folder.Write("store/clash/f", "x");
  folder.Make("store/taken/clash/f/x");
  const ProcessResult failed = Expect(1, {"--json", "cp", "-r", "clash", "taken"});
  EXPECT_TRUE(AreJsonLines(failed.out)) << failed.out;
  EXPECT_TRUE(Holds(failed.out, R"("target":"taken/clash/f","result":"failed")")) << failed.out;
}

}  // namespace
