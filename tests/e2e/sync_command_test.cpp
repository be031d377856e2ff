#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "e2e/file_hold.h"
#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

Words operator+(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
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

// A backup never replaces an older one, and is not put where a later run would touch it.
TEST_F(SyncCommand, KeepsReplacedAndDeletedFiles) {
  folder.Write("store/docs/a.txt", "old");
  folder.Write("store/docs/x/1", "1");
  fs::create_symlink("..", folder.Host("store/docs/x/up"));
  folder.Write("store/file", "");
  fs::create_symlink(folder.Host("work"), folder.Host("store/out"));
  const Words push = {"sync", "push", "docs", "docs", "--delete", "--backup-dir"};
  for (const char* refused : {"docs/old", "docs", "tmp", ".", "file", "file/x", "out/old", "../old"})
    Expect(1, push + Words{refused});
  Expect(1, {"sync", "pull", "docs", "docs", "--backup-dir", folder.Host("store/docs/b")});
  EXPECT_EQ(folder.Read("store/docs/a.txt"), "old");
  Expect(0, push + Words{"old/docs"}, {"3 deleted"});
  EXPECT_EQ(ContentsOf(folder.Host("store/docs")), ContentsOf(folder.Host("work/docs")));
  EXPECT_EQ(folder.Read("store/old/docs/a.txt") + folder.Read("store/old/docs/x/1"), "old1");
  EXPECT_TRUE(fs::is_symlink(folder.Host("store/old/docs/x/up")));
  folder.Write("store/docs/a.txt", "newer");
  folder.Write("store/docs/x", "file");
  Expect(0, push + Words{"old/docs"});
  EXPECT_EQ(folder.Read("store/old/docs/a.txt") + folder.Read("store/old/docs/a.txt.~1~"), "oldnewer");
  EXPECT_EQ(folder.Read("store/old/docs/x.~1~"), "file");
  // What cannot be kept is neither replaced nor deleted.
  folder.Write("store/docs/y/z", "kept");
  folder.Write("store/old/docs/y", "in the way");
  folder.Write("store/docs/used", "in use");
  const FileHold hold(folder.Host("store/docs/used"));
  Expect(1, push + Words{"old/docs"}, {" y: ", " used: "});
  EXPECT_EQ(folder.Read("store/docs/y/z") + folder.Read("store/docs/used"), "keptin use");
  // A pull keeps its backups in a local folder.
  folder.Write("work/docs/a.txt", "local");
  Expect(0, {"sync", "pull", "docs", "docs", "--backup-dir", "saved"});
  EXPECT_EQ(folder.Read("work/saved/a.txt"), "local");
}

TEST_F(SyncCommand, ChecksHashesOfBothSides) {
  Expect(0, {"sync", "push", "docs", "docs", "--check"}, {"3 files checked"});
  Configure("FileCompare=dumb");
  folder.Write("store/docs/a.txt", "other");
  Expect(0, {"sync", "push", "docs", "docs"});
  Expect(1, {"sync", "push", "docs", "docs", "--check"}, {"a.txt: differs from its source"});
  ExpectJson(1, {"sync", "push", "docs", "docs", "--check"}, {R"("checked":2)"});
}

TEST_F(SyncCommand, RunsSavedPlanExactlyOrRefuses) {
  const Words run = {"sync", "run", "plan.json"};
  const auto make_plan = [&] {
    Expect(0, {"sync", "push", "docs", "docs", "--delete", "--plan", "plan.json"});
  };
  folder.Write("store/docs/a.txt", "old");
  folder.Write("store/docs/x/1\xFF", "1");
  make_plan();
  const Tree before = ContentsOf(folder.Host("store/docs"));
  const struct {
    const char* file;
    const char* contents;  // null: it is removed
  } changes[] = {{"store/docs/a.txt", "newer"},
                 {"work/docs/a.txt", "aaaab"},
                 {"store/docs/x/2", ""},
                 {"store/docs/x/1\xFF", nullptr},
                 {"store/docs/sub/b.doc", "b"}};
  for (const auto& change : changes) {
    const bool was_there = folder.Exists(change.file);
    const std::string old = was_there ? folder.Read(change.file) : "";
    if (change.contents != nullptr)
      folder.Write(change.file, change.contents);
    else
      fs::remove(folder.Host(change.file));
    const Tree changed = ContentsOf(folder.Host("store/docs"));
    Expect(1, run, {"has changed since the plan was made"});
    EXPECT_EQ(ContentsOf(folder.Host("store/docs")), changed) << change.file;
    was_there ? folder.Write(change.file, old) : static_cast<void>(fs::remove(folder.Host(change.file)));
    fs::remove(folder.Host("store/docs/sub"));
    EXPECT_EQ(ContentsOf(folder.Host("store/docs")), before);
    make_plan();
  }
  folder.Write("work/docs/later", "not in the plan");
  folder.Write("store/docs/extra", "nor this");
  Expect(0, {"-n", "sync", "run", "plan.json"}, {"a.txt: would be copied"});
  Expect(0, run + Words{"--check", "--backup-dir", "old"}, {"3 files copied", "3 files checked"});
  EXPECT_FALSE(folder.Exists("store/docs/later") || folder.Exists("store/docs/x"));
  EXPECT_EQ(folder.Read("store/docs/extra") + folder.Read("store/old/a.txt"), "nor thisold");
}

TEST_F(SyncCommand, RefusesUnusablePlans) {
  const std::string configuration = folder.Read("store/tvl.ini");
  Expect(0, {"sync", "push", "docs", "docs", "--plan", "plan.json"});
  std::string other = folder.Read("work/plan.json");
  other.replace(other.find("store\":\"") + 8, 1, "/elsewhere");
  folder.Write("work/other.json", other);
  folder.Write("work/no.json", "{\"format\":");
  folder.Write("work/empty.json", "{}");
  ExpectAll({{1, {"sync", "run", "other.json"}, {"another store"}},
             {1, {"sync", "run", "no.json"}, {"not a plan"}},
             {1, {"sync", "run", "empty.json"}, {"not a plan"}},
             {1, {"sync", "run", "."}},
             {6, {"sync", "run", "none.json"}},
             {1, {"sync", "push", "docs", "docs", "--plan", folder.Host("store/tvl.ini")}, {"belongs to"}},
             {6, {"sync", "push", "docs", "docs", "--plan", "none/plan.json"}},
             {2, {"sync", "push", "docs", "docs", "--plan", "p", "--check"}}});
  EXPECT_EQ(folder.Read("store/tvl.ini"), configuration);
  EXPECT_FALSE(folder.Exists("store/docs"));
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
