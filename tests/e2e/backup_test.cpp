#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

class Backup : public TvlTest {
 protected:
  // Runs `tvl` on another store than that of the test.
  void ExpectOn(const std::string& store, Words arguments, const Words& output) const {
    arguments.insert(arguments.begin(), {"--config", folder.Host(store + "/tvl.ini")});
    Expect(0, arguments, output);
  }

  // A shell that runs `loop` for ever, with $TVL, in the working directory.
  [[nodiscard]] ProcessStart Writer(const std::string& loop) const {
    ProcessStart start = Start({});
    start.command = {"/bin/sh", "-c",
                     "i=0; while :; do i=$((i+1)); " + loop + "; test $i = 3 && echo runs; done"};
    start.environment["TVL"] = TVL_PROGRAM;
    return start;
  }

  // Kills `tvl` while it reports names, and expects that `target` appears only by the next run.
  void ExpectKilledRunLeavesNothing(const Words& arguments, const std::string& target) const {
    ProcessStart start = Start(arguments);
    start.command.insert(start.command.begin() + 1, "-v");
    start.narrow_output = true;
    Process killed(start);
    ASSERT_TRUE(killed.AwaitOutput());
    Expect(4, arguments, {"another process is writing this folder"});
    Expect(1, {"restore", folder.Host(target + ".tvlpart"), folder.Host("x")}, {"not a complete backup"});
    killed.Signal(SIGKILL);
    EXPECT_EQ(killed.Finish().exit, 128 + SIGKILL);
    EXPECT_FALSE(folder.Exists(target));
    EXPECT_TRUE(folder.Exists(target + ".tvlpart"));
    Expect(0, arguments);
    EXPECT_FALSE(folder.Exists(target + ".tvlpart") || folder.Exists(target + ".tvlpart.lock"));
  }
};

TEST_F(Backup, RestoresAWholeStoreInAnotherPlace) {
  folder.Write("store/docs/deep/a", "a");
  folder.Make("store/docs/empty");
  fs::create_symlink("docs/deep/a", folder.Host("store/link"));
  fs::permissions(folder.Host("store/docs"), fs::perms(0751));
  folder.SetTimes("store/docs/deep/a", {1, 0}, {1'000'000'001, 5});
  Expect(0, {"table", "create", "orders", "--key1", "4", "--key2", "2", "--schema", "name-D4"});
  Expect(0, {"table", "write", "orders", "--schema", "name-D4", "--key1", "A", "name=x"});
  const Tree documents = ContentsOf(folder.Host("store"));
  folder.Write("store/docs/.1.2.tvlpart", "half");
  folder.Write("store/far.dat", "TVLTABLE 1\n");
  mkfifo(folder.Host("store/pipe").c_str(), 0600);
  const ProcessResult saved = Expect(0, {"backup", folder.Host("saved")}, {"1 document and 2 tables"});
  EXPECT_NE(saved.err.find("far.dat: its rows are in a database server; back them up there with pg_dump"),
            std::string::npos)
      << saved.err;
  EXPECT_NE(saved.err.find("pipe: left out"), std::string::npos) << saved.err;
  folder.Make("new");  // an empty folder is as good as none
  Expect(0, {"restore", folder.Host("saved"), folder.Host("new")});
  ExpectOn("new", {"table", "read", "orders", "--schema", "name-D4"}, {"A     x"});
  ExpectOn("new", {"doctor"}, {"complete"});
  Tree restored = ContentsOf(folder.Host("new"));
  EXPECT_EQ(restored.erase("far.dat"), 1U);
  for (const auto& [name, bytes] : documents) {
    if (name == "tvl.ini" || name.starts_with("tmp/") || name.ends_with("-journal")) continue;
    EXPECT_TRUE(restored.contains(name) && restored[name] == bytes) << name;
  }
  EXPECT_FALSE(restored.contains("docs/.1.2.tvlpart") || restored.contains("pipe"));
  EXPECT_EQ(folder.Status("new/docs").st_mode & 0777U, 0751U);
  EXPECT_EQ(folder.Status("new/docs/deep/a").st_mtim.tv_nsec, 5);
  EXPECT_TRUE(fs::is_symlink(folder.Host("new/link")));
  fs::remove(folder.Host("saved/backup.ini"));
  folder.Write("other/tmp", "a document");
  folder.Write("other.ini",
               "[Environments]\nDocumentRoot=" + folder.Host("other") + "\nTmpDir=" + folder.Host("t"));
  ExpectAll({{1, {"backup", folder.Host("saved")}, {"not empty"}},
             {1, {"backup", folder.Host("store/docs/b")}, {"in the store itself"}},
             {1, {"restore", folder.Host("saved"), folder.Host("b")}, {"not a complete backup"}},
             {1, {"restore", folder.Host("saved"), folder.Host("store")}, {"configuration exists"}},
             {1, {"--config", folder.Host("other.ini"), "backup", folder.Host("b")}, {"rename the document"}},
             {2, {"--tcp", "127.0.0.1:1", "backup", folder.Host("b")}, {"needs the folder"}}});
  EXPECT_FALSE(folder.Exists("b") || folder.Exists("b.tvlpart"));
}

TEST_F(Backup, IsConsistentWhileOthersWrite) {
  constexpr std::size_t kSize = 300'000;
  Expect(0, {"table", "create", "pair", "--key1", "1", "--schema", "n-D8"});
  folder.Write("work/first", "key1,n\nA,0\nB,0\n");
  Expect(0, {"table", "import", "pair", "first", "--schema", "n-D8"});
  folder.Write("work/f", std::string(kSize, 'x'));
  Expect(0, {"put", "f"});
  Process rows(
      Writer(R"(printf 'key1,n\nA,%d\nB,%d\n' $i $i >rows; "$TVL" -q table import pair rows --schema n-D8)"));
  Process files(Writer(R"(head -c 300000 /dev/zero | tr '\0' $((i % 10)) >f; "$TVL" -q put f)"));
  ASSERT_TRUE(rows.AwaitOutput() && files.AwaitOutput());
  for (int run = 0; run < 10; ++run) {
    const std::string saved = "saved" + std::to_string(run);
    const std::string restored = "new" + std::to_string(run);
    Expect(0, {"backup", folder.Host(saved)});
    Expect(0, {"restore", folder.Host(saved), folder.Host(restored)});
    const std::string file = folder.Read(restored + "/f");
    EXPECT_TRUE(file.size() == kSize && file.find_first_not_of(file[0]) == std::string::npos);
    const std::string pair = Expect(0, {"--config", folder.Host(restored + "/tvl.ini"), "table", "export",
                                        "pair", "--schema", "n-D8"})
                                 .out;
    const std::size_t a = pair.find("A,");
    const std::size_t b = pair.find("B,");
    ASSERT_TRUE(a != std::string::npos && b != std::string::npos) << pair;
    EXPECT_EQ(pair.substr(a + 2, pair.find('\n', a) - a - 2), pair.substr(b + 2, pair.find('\n', b) - b - 2));
  }
  for (Process* writer : {&rows, &files}) writer->Signal(SIGKILL);
}

TEST_F(Backup, KilledRunLeavesNothingThatLooksComplete) {
  for (int file = 0; file < 400; ++file)
    folder.Write("store/docs/" + std::string(100, 'n') + std::to_string(file), "x");
  ExpectKilledRunLeavesNothing({"backup", folder.Host("saved")}, "saved");
  ExpectKilledRunLeavesNothing({"restore", folder.Host("saved"), folder.Host("new")}, "new");
  EXPECT_EQ(ContentsOf(folder.Host("new/docs")), ContentsOf(folder.Host("store/docs")));
  folder.Write("kept.tvlpart/a", "not ours");
  Expect(1, {"backup", folder.Host("kept")}, {"kept.tvlpart"});
  EXPECT_EQ(folder.Read("kept.tvlpart/a"), "not ours");
}

}  // namespace
