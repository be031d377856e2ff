#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "engine/engine.h"
#include "support/helper_process.h"
#include "support/mounted_folder.h"

// What only POSIX has: permissions and other users, locks of processes, disks of a test's own.

namespace {

TEST_F(EngineTest, FilesGetPermissionsOfFolder) {
  fs::permissions(folder_.Host(), fs::perms(0775));
  const mode_t former = umask(0077);
  const string path = folder_.Host("shared.dat");
  EXPECT_EQ(CreateArchive(path.c_str(), 20, 4, 3), 0);
  EXPECT_EQ(Write(IOpen(path.c_str()), "a", "", ""), 1);
  umask(former);
  for (const string& file : {path, path + "-journal"}) {
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0664)) << file;
  }
}

// Programs hash and copy table files while they use them; a classic lock would be lost with the close.
TEST_F(EngineTest, KeepsLocksWhenFileIsReadElsewhere) {
  const int table = Open();
  ASSERT_EQ(BeginBatch(table, 1), 1);
  ASSERT_EQ(Write(table, "a", "", "1"), 1);
  fs::copy_file(table_, folder_.Host("copy.dat"));
  close(open(table_.c_str(), O_RDWR | O_CLOEXEC));
  EXPECT_FALSE(CanLockWhole(table_));
  // The byte by which SQLite marks a writer.
  const int descriptor = open(table_.c_str(), O_RDWR | O_CLOEXEC);
  struct flock reserved = {};
  reserved.l_type = F_WRLCK;
  reserved.l_start = 0x40000001;
  reserved.l_len = 1;
  EXPECT_NE(fcntl(descriptor, F_OFD_SETLK, &reserved), 0);
  close(descriptor);
  EXPECT_EQ(EndBatch(table), 1);
}

// Only POSIX reports which lock is in the way, and whether plain SQLite has marked a writer.
TEST_F(EngineTest, WaitsForTryButNotForHolder) {
  std::atomic<bool> stop{false};
  std::thread trying([&] {
    while (!stop) CanLockWhole(table_);
  });
  for (int round = 0; round < 200; ++round) {
    const int table = Open();
    EXPECT_GT(table, 0) << GetLastErrorText();
    IClose(table);
    EXPECT_EQ(Create(), 0) << GetLastErrorText();
  }
  stop = true;
  trying.join();
}

TEST_F(EngineTest, ReadsBesidePlainSqliteThatHasNotWrittenYet) {
  const int table = Open();
  ASSERT_EQ(Write(table, "a", "", "ours"), 1);
  sqlite3* plain = nullptr;
  ASSERT_EQ(sqlite3_open(table_.c_str(), &plain), SQLITE_OK);
  ASSERT_EQ(Execute(plain, "BEGIN IMMEDIATE; DELETE FROM records"), SQLITE_OK);
  EXPECT_EQ(All(table), Rows{"a|ours"});
  sqlite3_close(plain);
}

const Role read_as_nobody("read-as-nobody", [](const std::vector<string>& arguments) {
  if (setgid(65534) != 0 || setuid(65534) != 0) return 1;
  const int table = IOpen(arguments[0].c_str());
  if (All(table) != Rows{"a|kept"}) return 2;
  return Write(table, "b", "", "") == 0 && !CanLockWhole(arguments[0]) ? 0 : 3;
});

TEST_F(EngineTest, ReadsTableThatIsReadOnly) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  ASSERT_EQ(Write(Open(), "a", "", "kept"), 1);
  CloseAll();
  fs::permissions(folder_.Host(), fs::perms(0755));
  fs::permissions(table_, fs::perms(0644));
  EXPECT_EQ(HelperProcess({"read-as-nobody", table_}).Wait(), 0);
}

// Without write access, a table with the journal of a killed writer cannot be read.
const Role refused_as_nobody("refused-as-nobody", [](const std::vector<string>& arguments) {
  if (setgid(65534) != 0 || setuid(65534) != 0) return 1;
  return IOpen(arguments[0].c_str()) < 0 && GetLastProblem() == 3 ? 0 : 2;
});

TEST_F(EngineTest, RefusesTableWithJournalThatIsReadOnly) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  const string path = folder_.Host("large.dat");
  ASSERT_EQ(CreateArchive(path.c_str(), 4000, 8, 0), 0);
  HelperProcess writer({"spill-and-wait", path});
  ASSERT_EQ(writer.Hear(), "spilled");
  writer.Signal(SIGKILL);
  writer.Wait();
  fs::permissions(folder_.Host(), fs::perms(0755));
  fs::permissions(path, fs::perms(0644));
  EXPECT_EQ(HelperProcess({"refused-as-nobody", path}).Wait(), 0);
}

TEST_F(EngineTest, FullDiskDoesNotDamageTable) {
  const MountedFolder disk(folder_.Host("disk"), "size=8m");
  if (!disk.IsMounted()) GTEST_SKIP() << "only root can make a small disk";
  const string path = disk.Path() + "/t.dat";
  ASSERT_EQ(CreateArchive(path.c_str(), 1000, 8, 3), 0);
  const int table = IOpen(path.c_str());
  int written = 0;
  for (std::size_t left = 0; left < 200'000; left += 4096) {
    disk.FillUp(left);
    while (written < 5000 && Write(table, KeyOf(written), "", "single") == 1) ++written;
    ASSERT_LT(written, 5000);
    ASSERT_STREQ(GetLastErrorText(), "database or disk is full");
    ASSERT_EQ(All(table).size(), static_cast<std::size_t>(written)) << left;

    ASSERT_EQ(BeginBatch(table, 1), 1);
    bool full = false;
    for (int row = 0; row < 1000; ++row)
      full = Write(table, KeyOf(90'000'000 + row), "", "batch") != 1 || full;
    if (full) disk.FreeUp();
    ASSERT_TRUE(!full || Write(table, "late", "", "batch") == 0) << "what came before it is gone";
    ASSERT_EQ(EndBatch(table), 0) << left;
    ASSERT_EQ(All(table).size(), static_cast<std::size_t>(written)) << left;
  }
  EXPECT_GT(written, 20);
  const string refused = disk.Path() + "/refused.dat";
  disk.FillUp(8192);
  EXPECT_NE(CreateArchive(refused.c_str(), 20, 4, 3), 0);
  EXPECT_FALSE(fs::exists(refused));
  disk.FreeUp();
  EXPECT_EQ(Write(table, "after", "", "room again"), 1) << GetLastErrorText();
  CloseAll();
  EXPECT_EQ(CheckIntegrity(path), "ok");
}

}  // namespace
