#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

class SyncCommand : public TvlTest {
 protected:
  SyncCommand() {
    folder.Write("work/docs/a.txt", "aaaaa");
    folder.Write("work/docs/sub/b.doc", "bb");
    folder.Write("work/docs/sub/c.MDB", "c");
    folder.Make("work/docs/empty");
  }
};

TEST_F(SyncCommand, ConvergesInBothDirections) {
  Expect(0, {"sync", "push", "new/docs", "docs"},
         {"plan: to copy            3  8 B\n",
          "\n3 files copied (8 B), 0 already the same, 3 folders created\n"});
  EXPECT_EQ(ContentsOf(folder.Host("store/new/docs")), ContentsOf(folder.Host("work/docs")));
  Expect(0, {"sync", "pull", "new/docs", folder.Host("else/where")});
  EXPECT_EQ(ContentsOf(folder.Host("else/where")), ContentsOf(folder.Host("work/docs")));
  const Tree before = SnapshotOf(folder.Host("store/new"));
  Expect(0, {"sync", "push", "new/docs", "docs"}, {"0 files copied (0 B), 3 already the same\n"});
  EXPECT_EQ(SnapshotOf(folder.Host("store/new")), before);
}

TEST_F(SyncCommand, DeletesOnlyAllowedNames) {
  folder.Write("store/docs/a.txt", "aaaaa");
  folder.Write("store/docs/x/1", "1");
  folder.Write("store/docs/x/2", "2");
  Expect(0, {"sync", "push", "docs", "docs"});
  EXPECT_TRUE(folder.Exists("store/docs/x/2"));
  const Tree before = ContentsOf(folder.Host("store/docs"));
  folder.Write("work/docs/later", "l");
  folder.Make("work/nothing");
  folder.Make("work/hollow/x");
  ExpectAll({{1, {"sync", "push", "docs", "docs", "--delete", "--max-delete", "2"}, {"3 deletions planned"}},
             {1, {"sync", "push", "docs", "nothing", "--delete"}},
             {1, {"sync", "push", "docs", "nothing"}},
             {1, {"sync", "push", "docs", "hollow", "--delete"}},
             {6, {"sync", "push", "docs", "vanished", "--delete"}},
             {1, {"sync", "push", "docs", "docs/a.txt", "--delete"}},
             {1, {"sync", "push", "docs", "docs", "--delete", "--pattern", "*.none"}},
             {1, {"sync", "push", "docs", "docs", "--delete", "--max-delete", "20%"}},
             {2, {"sync", "push", "docs", "docs", "--delete", "--max-delete", "-1"}},
             {2, {"sync", "push", "docs", "docs", "--delete", "--max-delete", ""}},
             {2, {"sync", "push", "docs", "docs", "--delete", "--max-delete", "101%"}},
             {2, {"sync", "push", "docs", "docs", "--exclude", "films"}},
             {2, {"sync", "push", "docs", "docs", "--pattern", "a/b"}}});
  EXPECT_EQ(ContentsOf(folder.Host("store/docs")), before);
  Expect(0, {"sync", "push", "docs", "docs", "--delete", "--max-delete", "3"}, {", 3 deleted\n"});
  EXPECT_EQ(ContentsOf(folder.Host("store/docs")), ContentsOf(folder.Host("work/docs")));
}

TEST_F(SyncCommand, ExclusionsAndPatterns) {
  folder.Write("store/t/p.PDF", "kept");
  folder.Write("store/t/gone.txt", "");
  Expect(0, {"sync", "push", "t", "docs", "--exclude", "database,document,pdf", "--delete"});
  EXPECT_EQ(folder.Tree("store/t"), (Words{"a.txt", "empty", "p.PDF", "sub"}));
  Expect(0, {"sync", "push", "u", "docs", "--pattern", "s*"});
  EXPECT_EQ(folder.Tree("store/u"), Words{"sub"});
}

// A file on one side and a folder on the other are reported and skipped; the rest is synchronized.
TEST_F(SyncCommand, ClashesAreSkipped) {
  folder.Write("store/docs/sub", "file");
  folder.Write("store/docs/a.txt/inside", "x");
  const std::string output = Expect(3, {"sync", "push", "docs", "docs", "--delete"}).out;
  for (const char* part : {"plan: skipped, a file on one side and a folder on the other",
                           "\na.txt: skipped: ", "\nsub: skipped: ", "0 files copied"})
    EXPECT_NE(output.find(part), std::string::npos) << part << output;
  EXPECT_EQ(ContentsOf(folder.Host("store/docs")),
            (Tree{{"a.txt/", ""}, {"a.txt/inside", "x"}, {"empty/", ""}, {"sub", "file"}}));
}

TEST_F(SyncCommand, ReportsSkippedNames) {
  ASSERT_EQ(mkfifo(folder.Host("work/docs/pipe").c_str(), 0600), 0);
  fs::create_symlink("nowhere", folder.Host("work/docs/dead"));
  fs::create_symlink("..", folder.Host("work/docs/up"));
  folder.Write("work/docs/back\\slash", "");
  folder.Write("store/docs/old/a.pdf", "kept");
  fs::create_symlink("..", folder.Host("store/docs/extra"));
  folder.Write("work/docs/round/f", "f");
  fs::create_symlink(".", folder.Host("store/docs/round"));
  const std::string output = Expect(3, {"sync", "push", "docs", "docs", "--delete", "--exclude", "pdf"}).out;
  for (const char* part :
       {"\npipe: skipped: neither", "\ndead: skipped: a dangling link", "\nup: skipped: a link that forms",
        "\nround: skipped: a link that forms", "\nback\\slash: skipped: its name",
        "\nold: not deleted: it contains names", "\nextra: skipped: ", "3 files copied"})
    EXPECT_NE(output.find(part), std::string::npos) << part << output;
  EXPECT_TRUE(folder.Exists("store/docs/old/a.pdf") && folder.Exists("store/docs/extra"));
  // A writer that waits at a pipe must not be killed.
  Process writer({{"/bin/sh", "-c", "echo waiting >&2; echo text > " + folder.Host("work/docs/pipe")}});
  ASSERT_TRUE(writer.ReadErrorsUntil("waiting"));
  ExpectAll({{1, {"hash", "docs/pipe"}}, {3, {"put", "docs/pipe"}}});
  EXPECT_EQ(folder.Read("work/docs/pipe"), "text\n");
  EXPECT_EQ(writer.Finish().exit, 0);
  // Listing a folder of the store reports the same names.
  folder.Write("store/more/back\\slash", "");
  fs::create_symlink("..", folder.Host("store/more/up"));
  folder.Write("store/more/round/f", "f");
  folder.Make("work/more");
  fs::create_symlink(".", folder.Host("work/more/round"));
  Expect(3, {"get", "-r", "more"},
         {"its name contains a backslash", "more/up: skipped", "more/round: skipped"});
  Expect(1, {"rm", "-r", "more"}, {"cannot be removed: 'back\\slash'"});
}

// Compression gives a file a new time, which must not look like a change to a second run.
TEST_F(SyncCommand, CompressedStoresConverge) {
  Configure("FileCompare=time\nZipOnTransfert=1");
  Expect(0, {"sync", "push", "docs", "docs"}, {"3 files copied"});
  Expect(0, {"sync", "push", "docs", "docs"}, {"0 files copied"});
  Expect(0, {"sync", "pull", "docs", "docs"}, {"0 files copied"});
}

// The whole store may be synchronized; its own files are not documents and survive a push with deletions.
TEST_F(SyncCommand, OwnFilesAreSkipped) {
  folder.Write("store/d", "d");
  Expect(0, {"sync", "pull", ".", "all"});
  EXPECT_EQ(folder.Tree("work/all"), Words{"d"});
  const std::string configuration = folder.Read("store/tvl.ini");
  folder.Write("work/docs/tvl.ini", "bad");
  ExpectAll({{3, {"sync", "push", ".", "docs", "--delete"}},
             {1, {"sync", "pull", ".", folder.Host("store/inside")}},
             {0, {"--work", "", "sync", "pull", "x", "y"}},
             {1, {"--tcp", "host:1", "sync", "pull", "x", "y"}}});
  EXPECT_EQ(folder.Read("store/tvl.ini"), configuration);
  EXPECT_TRUE(folder.Exists("store/tmp/locks/dtlocks.dat") && folder.Exists("store/a.txt"));
  EXPECT_FALSE(folder.Exists("store/d") || folder.Exists("store/inside"));
}

TEST_F(SyncCommand, LinesAreJsonAndFailuresAreReported) {
  folder.Write("store/docs/a.txt", "old");
  folder.Write("store/docs/gone\xFF", "old");
  Configure("FileCompare=hash");
  ExpectJson(0, {"-n", "sync", "push", "docs", "docs", "--delete"},
             {R"("delete":{"count":1,"files":1,"bytes":3})"});
  folder.Make("store/docs/sub");
  fs::create_symlink("/dev/full", folder.Host("store/docs/sub/c.MDB"));
  ExpectJson(1, {"sync", "push", "docs", "docs", "--delete", "--follow"},
             {R"("name":"a.txt","result":"copied","size":5})", R"("progress":{"files":)",
              R"("command":"sync push","subject":"sub/c.MDB")", R"("result":"deleted")",
              R"("result":"folder_made")", R"("exit":1}})"});
}

}  // namespace
