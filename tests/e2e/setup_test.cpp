#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include "e2e/tvl_runner.h"
#include "support/mounted_folder.h"

namespace {

namespace fs = std::filesystem;

unsigned int ModeOf(const std::string& path) {
  struct stat status = {};
  stat(path.c_str(), &status);
  return status.st_mode & 07777U;
}

// The library reads the exact path of the store back from the configuration, whatever it contains, or no
// store is created.
TEST_F(TvlTest, InitPreservesAnyPath) {
  folder.Make("stores/x");
  folder.Write("work/a", "a");
  for (const std::string& name :
       Words{"two words", " blanks ", "d$llar", "$", "%$A%", "100%", "semi;colon", "'quoted'", "\"quoted\"",
             "a=b", "[x,y]", "\xC3\xA0\xE0", "trailing$ ", "new/deep/er", "x/../up"}) {
    const std::string root = folder.Host("stores/" + name);
    ExpectAll({{0, {"init", root}}, {0, {"--config", root + "/tvl.ini", "put", "a"}}, {1, {"init", root}}});
    EXPECT_TRUE(fs::exists(root + "/a")) << root;
  }
  const Tree before = SnapshotOf(folder.Host());
  for (const std::string& name : Words{"back\\slash", "line\nend", "tab\t",
                                       std::string(200, 'l') + "/" + std::string(100, 'l'), "a/none"})
    Expect(1, {"init", name});
  EXPECT_EQ(SnapshotOf(folder.Host()), before);
}

// Regardless of the umask, even if the library or --missing creates deleted parts.
TEST_F(TvlTest, NewStoresGetPermissionsOfFolder) {
  const std::string root = folder.Host("shared");
  const mode_t before = umask(077);
  for (const unsigned int mode : {02775U, 01777U, 0750U}) {
    fs::remove_all(root);
    folder.Make("shared");
    chmod(root.c_str(), mode);
    Expect(0, {"init", root});
    for (const Words& again : {Words{"info"}, Words{"init", "--missing", root}}) {
      for (const char* name : {"/tmp", "/tmp/locks", "/tmp/procs"})
        EXPECT_EQ(ModeOf(root + name), mode & 02777U) << name << again[0];
      EXPECT_EQ(ModeOf(root + "/tvl.ini"), mode & 0666U);
      fs::remove_all(root + "/tmp");
      Words command = {"--config", root + "/tvl.ini"};
      command.insert(command.end(), again.begin(), again.end());
      Expect(0, command);
    }
  }
  if (geteuid() == 0) {
    const std::string group = std::to_string(getgid() + 1);
    Expect(0, {"init", "--shared", group, folder.Host("new")});
    struct stat status = {};
    stat(folder.Host("new/tmp/locks/dtlocks.dat").c_str(), &status);
    EXPECT_EQ(status.st_gid, getgid() + 1);
    EXPECT_EQ(status.st_mode & 0777U, 0660U);
    EXPECT_EQ(ModeOf(folder.Host("new/tmp/procs")), 02770U);
  }
  umask(before);
  Expect(2, {"init", "--shared", "no such group", folder.Host("none")});
}

TEST_F(TvlTest, OnlyMissingPartsAreCreated) {
  const std::string root = folder.Host("store");
  const std::string table = root + "/tmp/locks/dtlocks.dat";
  const Tree whole = SnapshotOf(root);
  Expect(0, {"init", "--missing", root}, {"nothing is missing"});
  EXPECT_EQ(SnapshotOf(root), whole);
  // A configuration that was written by hand, with its temporary folder elsewhere.
  folder.Write("by hand.ini",
               "[Environments]\nDocumentRoot=" + root + "\nTmpDir=" + folder.Host("elsewhere") + "\n");
  const std::string lock_table = folder.Host("elsewhere/locks/dtlocks.dat");
  Expect(0, {"--config", folder.Host("by hand.ini"), "init", "--missing"}, {lock_table + ": created"});
  Expect(0, {"--config", folder.Host("by hand.ini"), "lock", "x", "--", "true"});
  ExpectJson(0, {"-n", "init", "--missing", folder.Host("new")}, {R"("result":"would_create")"});
  EXPECT_FALSE(folder.Exists("new"));
  // A client is connected, and may have the table open that was moved away.
  Process holder(Start({"lock", "x", "--", "sh", "-c", "echo locked; exec sleep 100"}));
  ASSERT_TRUE(holder.AwaitOutput());
  fs::rename(table, folder.Host("moved.dat"));
  Expect(4, {"init", "--missing", root}, {"clients are connected"});
  Expect(4, {"doctor", "--fix", root}, {"clients are connected"});
  EXPECT_FALSE(fs::exists(table));
  holder.Signal(SIGKILL);
  holder.Finish();
  Expect(5, {"lock", "x", "--", "true"}, {"run 'tvl init --missing' to create it"});
  Expect(0, {"init", "--missing", root}, {table + ": created\n"});
  ExpectAll({{2, {"init"}, {"folder"}}, {1, {"init", root}, {"--missing"}}});
}

TEST_F(TvlTest, DoctorLeavesNoFiles) {
  const Tree before = ContentsOf(folder.Host());
  const ProcessResult healthy = Expect(0, {"doctor"},
                                       {"locks", "lock ranges", "deletion of a held file",
                                        "rename over a file", "time stamps", "space", "parts of the store"});
  EXPECT_EQ(healthy.out.find("  bad  "), std::string::npos) << healthy.out;
  ExpectJson(0, {"doctor", folder.Host("work")}, {R"({"check":"locks","ok":true,"needed":true,)"});
  ExpectAll({{6, {"doctor", folder.Host("none")}},
             {1, {"doctor", folder.Host("store/tvl.ini")}},
             {1, {"doctor", "/proc"}}});
  EXPECT_EQ(ContentsOf(folder.Host()), before);
}

// Problems of a share, each with its remedy.
TEST_F(TvlTest, DoctorReportsProblems) {
  const std::string root = folder.Host("store");
  const std::string deep = folder.Host(std::string(100, 'd') + "/" + std::string(100, 'e'));
  folder.Make("back\\slash");
  fs::create_directories(deep);
  fs::permissions(root + "/tmp/procs", fs::perms::sticky_bit, fs::perm_options::add);
  folder.Write("store/d/.12.3.tvlpart", "half");
  fs::remove(root + "/tmp/locks/dtlocks.dat");
  for (const Words& row : {Words{root, "dtlocks.dat is missing", "tvl doctor --fix"},
                           {root, "is sticky", "chmod -t"},
                           {root, "1 file left by killed programs", "tvl doctor --fix"},
                           {deep, "too many", "shorter path"},
                           {folder.Host("back\\slash"), "backslash", "rename"}}) {
    const ProcessResult result = Expect(1, {"doctor", row[0]});
    EXPECT_NE(result.out.find(row[1]), std::string::npos) << row[1] << result.out;
    EXPECT_NE(result.out.find(row[2]), std::string::npos) << row[2] << result.out;
  }
  const std::string status = Expect(1, {"status"}, {"not all is well"}).out;
  EXPECT_NE(status.find("the lock table cannot be used: No such file"), std::string::npos) << status;
  EXPECT_NE(status.find("1 file left"), std::string::npos) << status;
  Expect(1, {"doctor", "--fix", root}, {"not reliable"});
  fs::permissions(root + "/tmp/procs", fs::perms::sticky_bit, fs::perm_options::remove);
  Expect(0, {"doctor", root});
  const MountedFolder small(folder.Host("small"), "nr_inodes=16");
  if (!small.IsMounted()) GTEST_SKIP() << "needs the right to mount";
  fs::create_directory(small.Path() + "/s");
  while (std::ofstream(small.Path() + "/" + std::to_string(ContentsOf(small.Path()).size()))) {
  }
  EXPECT_NE(Expect(1, {"-n", "doctor", small.Path() + "/s"}).out.find("no inodes are left"),
            std::string::npos);
}

// Only what nobody holds is removed, however old it is.
TEST_F(TvlTest, DoctorRepairsAndReportsEachStep) {
  const std::string root = folder.Host("store");
  Process holder(Start({"lock", "x", "--", "sh", "-c", "echo locked; exec sleep 100"}));
  ASSERT_TRUE(holder.AwaitOutput());
  Words expected;
  for (const char* name :
       {"d/.12.3.tvlpart", "tmp/procs/gone-7f000001-001.99.tvlc.tvp", "tmp/procs/.1.2.new"}) {
    folder.Write(std::string("store/") + name, "");
    expected.push_back("repair                   ok  removed " + root + "/" + name);
  }
  const Tree before = ContentsOf(root + "/tmp/procs");
  Expect(0, {"doctor", root}, {"3 files left by killed programs"});
  Expect(0, {"doctor", "--fix", root}, expected);
  EXPECT_EQ(ContentsOf(root + "/tmp/procs").size(), before.size() - 2);
  Expect(4, {"lock", "x", "--", "true"});
  holder.Signal(SIGKILL);
  holder.Finish();
  fs::remove_all(root + "/tmp");
  ExpectJson(0, {"doctor", "--fix", root},
             {R"("detail":"created )" + root + R"(/tmp/locks/dtlocks.dat")", R"("detail":"complete")"});
  Expect(0, {"doctor", "--fix", root}, {"nothing to repair"});
}

TEST_F(TvlTest, TwoDoctorsCheckEachOther) {
  const Tree before = ContentsOf(folder.Host("store"));
  Process other(Start({"doctor", "--peer", "pair"}));
  const ProcessResult one =
      Expect(0, {"doctor", "--peer", "pair"}, {"peer: locks", "peer: reads under a lock"});
  const ProcessResult two = other.Finish();
  EXPECT_EQ(two.exit, 0) << two.err;
  for (const std::string& out : {one.out, two.out}) EXPECT_EQ(out.find(" bad "), std::string::npos) << out;
  EXPECT_EQ(ContentsOf(folder.Host("store")), before);
  ExpectAll({{2, {"doctor", "--peer", "../x"}, {"letters"}}, {2, {"-n", "doctor", "--peer", "x"}, {"-n"}}});
}

}  // namespace
