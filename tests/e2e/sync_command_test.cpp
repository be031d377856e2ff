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

class SyncCommand : public TvlTest {
 protected:
  SyncCommand() {
    folder.Write("work/docs/a.txt", "aaaaa");
    folder.Write("work/docs/sub/b.doc", "bb");
    folder.Write("work/docs/sub/c.MDB", "c");
    folder.Make("work/docs/empty");
  }
};

TEST_F(SyncCommand, BothWaysThenNothing) {
  const ProcessResult pushed = Expect(0, {"sync", "push", "new/docs", "docs"});
  EXPECT_TRUE(Holds(pushed.out, "plan: to copy          3  8 B\n")) << pushed.out;
  EXPECT_TRUE(Holds(pushed.out, "\n3 files copied (8 B), 0 already the same, 3 folders made\n"))
      << pushed.out;
  EXPECT_EQ(ContentsOf(folder.Host("store/new/docs")), ContentsOf(folder.Host("work/docs")));
  Expect(0, {"sync", "pull", "new/docs", folder.Host("else/where")});
  EXPECT_EQ(ContentsOf(folder.Host("else/where")), ContentsOf(folder.Host("work/docs")));
  const Snapshot before = SnapshotOf(folder.Host("store/new"));
  const ProcessResult again = Expect(0, {"sync", "push", "new/docs", "docs"});
  EXPECT_TRUE(Holds(again.out, "0 files copied (0 B), 3 already the same\n")) << again.out;
  EXPECT_EQ(SnapshotOf(folder.Host("store/new")), before);
}

TEST_F(SyncCommand, DryRunChangesNotOneByte) {
  folder.Write("store/old/docs/extra/x", "x");
  folder.Write("store/old/docs/a.txt", "other");
  fs::remove_all(folder.Host("store/tmp"));
  const Snapshot before = SnapshotOf(folder.Host());
  const ProcessResult shown = Expect(0, {"-n", "sync", "push", "old/docs", "docs", "--delete"});
  for (const char* part : {"plan: to delete        2  1 B\n", "\nextra: would be deleted\n",
                           "\na.txt: would be copied\n", "\nempty: folder would be made\n"})
    EXPECT_TRUE(Holds(shown.out, part)) << part << shown.out;
  Expect(0, {"-n", "sync", "push", "not/there/yet", "docs"});
  Expect(0, {"-n", "sync", "pull", "old", "not/there/yet"});
  Expect(6, {"-n", "sync", "pull", "none", "x"});
  EXPECT_EQ(SnapshotOf(folder.Host()), before);
}

TEST_F(SyncCommand, DeletesOnlyWhatItMay) {
  folder.Write("store/docs/a.txt", "aaaaa");
  folder.Write("store/docs/x/1", "1");
  folder.Write("store/docs/x/2", "2");
  Expect(0, {"sync", "push", "docs", "docs"});
  EXPECT_TRUE(folder.Exists("store/docs/x/2"));
  const auto before = ContentsOf(folder.Host("store/docs"));
  folder.Write("work/docs/later", "l");
  const ProcessResult refused = Expect(1, {"sync", "push", "docs", "docs", "--delete", "--max-delete", "2"});
  EXPECT_TRUE(Holds(refused.err, "3 deletions planned")) << refused.err;
  EXPECT_EQ(ContentsOf(folder.Host("store/docs")), before);
  folder.Make("work/nothing");
  folder.Make("work/hollow/x");
  Expect(1, {"sync", "push", "docs", "nothing", "--delete"});
  Expect(1, {"sync", "push", "docs", "nothing"});
  Expect(1, {"sync", "push", "docs", "hollow", "--delete"});
  Expect(6, {"sync", "push", "docs", "vanished", "--delete"});
  Expect(1, {"sync", "push", "docs", "docs/a.txt", "--delete"});
  Expect(1, {"sync", "push", "docs", "docs", "--delete", "--pattern", "*.none"});
  EXPECT_EQ(ContentsOf(folder.Host("store/docs")), before);
  const ProcessResult done = Expect(0, {"sync", "push", "docs", "docs", "--delete", "--max-delete", "3"});
  EXPECT_TRUE(Holds(done.out, ", 3 deleted\n")) << done.out;
  EXPECT_EQ(ContentsOf(folder.Host("store/docs")), ContentsOf(folder.Host("work/docs")));
}

TEST_F(SyncCommand, ExclusionsAndPatterns) {
  folder.Write("store/t/p.PDF", "kept");
  folder.Write("store/t/gone.txt", "");
  Expect(0, {"sync", "push", "t", "docs", "--exclude", "database,document,pdf", "--delete"});
  EXPECT_EQ(folder.Tree("store/t"), (std::vector<std::string>{"a.txt", "empty", "p.PDF", "sub"}));
  Expect(0, {"sync", "push", "u", "docs", "--pattern", "s*"});
  EXPECT_EQ(folder.Tree("store/u"), std::vector<std::string>{"sub"});
  Expect(2, {"sync", "push", "t", "docs", "--exclude", "films"});
  Expect(2, {"sync", "push", "t", "docs", "--pattern", "a/b"});
}

// A file in a folder's place and the other way round: named, left alone, and the rest is done.
TEST_F(SyncCommand, ClashesAreSkipped) {
  folder.Write("store/docs/sub", "file");
  folder.Write("store/docs/a.txt/inside", "x");
  const ProcessResult result = Expect(3, {"sync", "push", "docs", "docs", "--delete"});
  for (const char* part : {"plan: skipped, a file and a folder in each other's place",
                           "\na.txt: skipped: ", "\nsub: skipped: ", "0 files copied"})
    EXPECT_TRUE(Holds(result.out, part)) << part << result.out;
  EXPECT_EQ(folder.Tree("store/docs"), (std::vector<std::string>{"a.txt", "a.txt/inside", "empty", "sub"}));
  EXPECT_EQ(folder.Read("store/docs/sub"), "file");
}

// The whole store may be synchronised; what it needs itself is no document and outlives a push that deletes.
TEST_F(SyncCommand, TheStoresOwnIsLeftAlone) {
  folder.Write("store/d", "d");
  Expect(0, {"sync", "pull", ".", "all"});
  EXPECT_EQ(folder.Tree("work/all"), std::vector<std::string>{"d"});
  Expect(0, {"sync", "push", ".", "docs", "--delete"});
  for (const char* name : {"store/tvl.ini", "store/tmp/locks/dtlocks.dat", "store/a.txt"})
    EXPECT_TRUE(folder.Exists(name)) << name;
  EXPECT_FALSE(folder.Exists("store/d"));
  folder.Write("work/docs/tvl.ini", "bad");
  Expect(0, {"sync", "push", ".", "docs"});
  EXPECT_NE(folder.Read("store/tvl.ini"), "bad");
  Expect(1, {"sync", "pull", ".", folder.Host("store/inside")});
  EXPECT_FALSE(folder.Exists("store/inside"));
  Expect(0, {"--work", "", "sync", "pull", "x", "y"});
  Expect(1, {"--tcp", "host:1", "sync", "pull", "x", "y"});
}

TEST_F(SyncCommand, LinesAreJsonAndFailuresAreTold) {
  folder.Write("store/docs/a.txt", "old");
  folder.Write("store/docs/gone\xFF", "old");
  Configure("FileCompare=hash");
  const ProcessResult shown = Expect(0, {"--json", "-n", "sync", "push", "docs", "docs", "--delete"});
  EXPECT_TRUE(AreJsonLines(shown.out)) << shown.out;
  EXPECT_TRUE(Holds(shown.out, R"("delete":{"count":1,"files":1,"bytes":3})")) << shown.out;
  fs::permissions(folder.Host("work/docs/sub/b.doc"), fs::perms::none);
  fs::remove(folder.Host("store/docs/empty"));
  folder.Make("store/docs/sub");
  fs::create_symlink("/dev/full", folder.Host("store/docs/sub/c.MDB"));
  const ProcessResult done = Expect(1, {"--json", "sync", "push", "docs", "docs", "--delete"});
  EXPECT_TRUE(AreJsonLines(done.out)) << done.out;
  for (const char* part : {R"("name":"a.txt","result":"copied","size":5})", R"("progress":{"files":)",
                           R"("name":"sub/c.MDB","result":"failed")", R"("result":"deleted")",
                           R"("result":"folder_made")", R"("exit":1}})"})
    EXPECT_TRUE(Holds(done.out, part)) << part << "\n" << done.out;
}

}  // namespace
