#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "engine/engine.h"
#include "support/helper_process.h"

namespace {

using Rows = std::vector<std::string>;

// Opens a table, says so, and keeps it open until a line comes.
int HoldTable(const std::vector<std::string>& arguments) {
  const int table = TheEngine().IOpen(arguments[0].c_str());
  Tell(table > 0 ? "open" : "refused");
  Listen();
  return 0;
}
const Role holdTable("hold-table", HoldTable);

// Writes rows of a name of its own, each by itself, as fast as it can.
int WriteRows(const std::vector<std::string>& arguments) {
  const Engine& engine = TheEngine();
  const int table = engine.IOpen(arguments[0].c_str());
  for (int row = 0; row < std::stoi(arguments[2]); ++row) {
    const std::string key = arguments[1] + std::to_string(row);
    if (engine.Write(table, key, "", key) != 1) return 1;
  }
  return 0;
}
const Role writeRows("write-rows", WriteRows);

// Makes a table, or says why not.
int MakeTable(const std::vector<std::string>& arguments) {
  return TheEngine().CreateArchive(arguments[0].c_str(), 30, 5, 0);
}
const Role makeTable("make-table", MakeTable);

TEST_F(EngineTest, KeepsATableInUseFromBeingReplacedOrDeleted) {
  const int table = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.Write(table, "a", "", "kept"), 1);
  for (const int users : {2, 1, 0}) {
    const int second = users == 2 ? engine_.IOpen(table_.c_str()) : -1;
    if (users == 0) engine_.CloseAll();
    const bool inUse = users > 0;
    EXPECT_EQ(CanLockWhole(table_), !inUse);
    EXPECT_EQ(HelperProcess({"make-table", table_}).Wait() == 0, !inUse);
    EXPECT_EQ(engine_.CreateArchive(table_.c_str(), 20, 4, 3) == 0, !inUse);
    EXPECT_EQ(engine_.All(table, 1), inUse ? Rows{"a|kept"} : Rows{});
    engine_.IClose(second);
  }
  const int made = engine_.IOpen(table_.c_str());
  EXPECT_EQ(engine_.All(made, 1), Rows{});
}

TEST_F(EngineTest, AnotherProcessKeepsItsTable) {
  HelperProcess user({"hold-table", table_});
  ASSERT_EQ(user.Hear(), "open");
  EXPECT_FALSE(CanLockWhole(table_));
  EXPECT_NE(engine_.CreateArchive(table_.c_str(), 20, 4, 3), 0);
  user.Signal(SIGKILL);
  EXPECT_EQ(user.Wait(), -SIGKILL);
  EXPECT_TRUE(CanLockWhole(table_));
  EXPECT_EQ(engine_.CreateArchive(table_.c_str(), 20, 4, 3), 0);
}

// Programs hash and copy table files while they use them; a classic lock would go with the close.
TEST_F(EngineTest, KeepsItsLocksWhenTheFileIsReadBesides) {
  const int table = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.BeginBatch(table, 1), 1);
  ASSERT_EQ(engine_.Write(table, "a", "", "1"), 1);
  std::filesystem::copy_file(table_, folder_ + "/copy.dat");
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
  EXPECT_EQ(engine_.EndBatch(table), 1);
}

TEST_F(EngineTest, WaitsForATryAndNotForAHolder) {
  std::atomic<bool> stop{false};
  std::thread trying([&] {
    while (!stop) CanLockWhole(table_);
  });
  for (int round = 0; round < 200; ++round) {
    const int table = engine_.IOpen(table_.c_str());
    EXPECT_GT(table, 0) << engine_.GetLastErrorText();
    engine_.IClose(table);
    EXPECT_EQ(engine_.CreateArchive(table_.c_str(), 20, 4, 3), 0) << engine_.GetLastErrorText();
  }
  stop = true;
  trying.join();
}

TEST_F(EngineTest, ProcessesWriteSideBySide) {
  constexpr int rows = 100;
  const int table = engine_.IOpen(table_.c_str());
  HelperProcess first({"write-rows", table_, "x", std::to_string(rows)});
  HelperProcess second({"write-rows", table_, "y", std::to_string(rows)});
  for (int row = 0; row < rows; ++row) {
    const std::string key = 'z' + std::to_string(row);
    EXPECT_EQ(engine_.Write(table, key, "", key), 1) << engine_.GetLastErrorText();
  }
  EXPECT_EQ(first.Wait(), 0);
  EXPECT_EQ(second.Wait(), 0);
  EXPECT_EQ(engine_.All(table, 1).size(), 3U * rows);
  engine_.CloseAll();
  EXPECT_EQ(CheckIntegrity(table_), "ok");
}

TEST_F(EngineTest, OneTableByTwoNamesIsOneTable) {
  const std::string link = folder_ + "/link.dat";
  std::filesystem::create_symlink(table_, link);
  const int byName = engine_.IOpen(table_.c_str());
  const int byLink = engine_.IOpen(link.c_str());
  ASSERT_EQ(engine_.BeginBatch(byName, 1), 1);
  EXPECT_EQ(engine_.Write(byName, "a", "", "1"), 1);
  EXPECT_EQ(engine_.Read(engine_.ReadKeyEq, byLink, 1, "a"), "a|1") << "the same thread, the same batch";
  EXPECT_EQ(engine_.EndBatch(byName), 1);
  EXPECT_FALSE(std::filesystem::exists(link + "-journal"));
  engine_.CloseAll();
  EXPECT_EQ(engine_.CreateArchive(link.c_str(), 20, 4, 3), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST_F(EngineTest, FollowsATableThatWasReplaced) {
  const int old = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.Write(old, "a", "", "old"), 1);
  std::filesystem::remove(table_);  // by somebody who doesn't ask
  ASSERT_EQ(engine_.CreateArchive(table_.c_str(), 20, 4, 3), 0);
  const int made = engine_.IOpen(table_.c_str());
  EXPECT_EQ(engine_.Write(made, "b", "", "new"), 1);
  EXPECT_EQ(engine_.All(made, 1), Rows{"b|new"});
  engine_.IClose(old);
  EXPECT_EQ(engine_.All(made, 1), Rows{"b|new"});
}

// A program that can't write a table's file can still read it.
int ReadAsNobody(const std::vector<std::string>& arguments) {
  const Engine& engine = TheEngine();
  if (setgid(65534) != 0 || setuid(65534) != 0) return 1;
  const int table = engine.IOpen(arguments[0].c_str());
  if (engine.All(table, 1) != Rows{"a|kept"}) return 2;
  return engine.Write(table, "b", "", "") == 0 && CanLockWhole(arguments[0]) == false ? 0 : 3;
}
const Role readAsNobody("read-as-nobody", ReadAsNobody);

TEST_F(EngineTest, ReadsATableThatItMayNotWrite) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  int table = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.Write(table, "a", "", "kept"), 1);
  engine_.CloseAll();
  std::filesystem::permissions(folder_, std::filesystem::perms(0755));
  std::filesystem::permissions(table_, std::filesystem::perms(0644));
  EXPECT_EQ(HelperProcess({"read-as-nobody", table_}).Wait(), 0);
}

}  // namespace
