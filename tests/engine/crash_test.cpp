#include <cstdio>
#include <random>

#include "engine/engine.h"
#include "support/helper_process.h"
#include "support/mounted_folder.h"

namespace {

constexpr int kRowsInBatch = 5;

string KeyOf(int row) {
  char key[16];
  std::snprintf(key, sizeof key, "%08d", row);
  return key;
}

// Writes rows with increasing keys, every other five in a batch, and reports each number once its row is
// committed.
const Role writeUntilKilled("write-until-killed", [](const std::vector<string>& arguments) {
  const int table = IOpen(arguments[0].c_str());
  for (int row = std::stoi(arguments[1]);; row += kRowsInBatch) {
    const bool batch = row / kRowsInBatch % 2 == 0;
    if (batch && BeginBatch(table, 1) != 1) return 1;
    for (int i = row; i < row + kRowsInBatch; ++i) {
      if (Write(table, KeyOf(i), KeyOf(i / 7), KeyOf(i)) != 1) return 2;
      if (!batch) Say(std::to_string(i));
    }
    if (batch && EndBatch(table) != 1) return 3;
    if (batch) Say(std::to_string(row + kRowsInBatch - 1));
  }
});

// Kills a writer that begins with row `first` at a random moment. Returns the last row reported as committed.
int LastPromised(const string& path, int first, std::mt19937& random) {
  int promised = first - 1;
  HelperProcess writer({"write-until-killed", path, std::to_string(first)});
  for (auto lines = 1 + random() % 8; lines > 0; --lines) promised = std::stoi(writer.Hear());
  for (auto spin = random() % 200000; spin > 0; --spin) __asm__ volatile("");
  writer.Signal(SIGKILL);
  for (string line = writer.Hear(); !line.empty(); line = writer.Hear()) promised = std::stoi(line);
  EXPECT_EQ(writer.Wait(), -SIGKILL);
  return promised;
}

TEST_F(EngineTest, KeepsCommittedRowsOfKilledWriter) {
  constexpr int rounds = 200;
  const string path = folder_.Host("promised.dat");
  ASSERT_EQ(CreateArchive(path.c_str(), 100, 8, 8), 0);
  std::mt19937 random(std::random_device{}());
  int next = 0;
  for (int round = 0; round < rounds; ++round) {
    const int promised = LastPromised(path, next, random);
    const int table = IOpen(path.c_str());
    ASSERT_GT(table, 0) << GetLastErrorText();
    for (int row = next; row <= promised; ++row) {
      ASSERT_EQ(Read(ReadKeyEq, table, 1, KeyOf(row)), KeyOf(row) + '|' + KeyOf(row));
    }
    const int written = std::stoi(Read(ReadKeyLtEq, table, 1, "~")) + 1;
    ASSERT_TRUE(written / kRowsInBatch % 2 == 1 || written % kRowsInBatch == 0)
        << "a part of a batch is there";
    next = (written + kRowsInBatch - 1) / kRowsInBatch * kRowsInBatch;
    IClose(table);
    if (round % 20 == 0 || round == rounds - 1) {
      ASSERT_EQ(CheckIntegrity(path), "ok");
    }
  }
}

// Opens a table in the middle of a large batch whose pages have already gone to the file.
const Role spillAndWait("spill-and-wait", [](const std::vector<string>& arguments) {
  const int table = IOpen(arguments[0].c_str());
  if (BeginBatch(table, 1) != 1) return 1;
  for (int row = 0; row < 4000; ++row) {
    if (Write(table, KeyOf(row), "", string(4000, 'x')) != 1) return 2;
  }
  Say("spilled");
  Listen();
  return 3;
});

// Without write access, a table with the journal of a killed writer cannot be read.
const Role refusedAsNobody("refused-as-nobody", [](const std::vector<string>& arguments) {
  if (setgid(65534) != 0 || setuid(65534) != 0) return 1;
  return IOpen(arguments[0].c_str()) < 0 && GetLastProblem() == 3 ? 0 : 2;
});

TEST_F(EngineTest, KilledBatchIsRolledBackButNotIntoNewTable) {
  fs::permissions(folder_.Host(), fs::perms(0755));
  const string path = folder_.Host("large.dat");
  for (const bool replaced : {false, true}) {
    SCOPED_TRACE(replaced);
    ASSERT_EQ(CreateArchive(path.c_str(), 4000, 8, 0), 0);
    int table = IOpen(path.c_str());
    ASSERT_EQ(BeginBatch(table, 1), 1);
    Rows kept;
    for (int row = 0; row < 200; ++row) {
      ASSERT_EQ(Write(table, KeyOf(row), "", "kept"), 1);
      kept.push_back(KeyOf(row) + "|kept");
    }
    CloseAll();
    const auto sizeBefore = fs::file_size(path);
    HelperProcess writer({"spill-and-wait", path});
    ASSERT_EQ(writer.Hear(), "spilled");
    writer.Signal(SIGKILL);
    writer.Wait();
    ASSERT_GT(fs::file_size(path), sizeBefore) << "the test needs pages in the file";
    ASSERT_GT(fs::file_size(path + "-journal"), 0U);
    if (geteuid() == 0) {
      fs::permissions(path, fs::perms(0644));
      EXPECT_EQ(HelperProcess({"refused-as-nobody", path}).Wait(), 0);
    }
    if (replaced) {
      fs::remove(path);
      ASSERT_EQ(CreateArchive(path.c_str(), 4000, 8, 0), 0);
    }
    table = IOpen(path.c_str());
    EXPECT_EQ(All(table), replaced ? Rows{} : kept);
    EXPECT_EQ(Write(table, "a", "", "new"), 1);
    CloseAll();
    EXPECT_EQ(CheckIntegrity(path), "ok");
  }
}

// A journal stays open between transactions. Meanwhile others may remove or replace it, as plain SQLite does.
TEST_F(EngineTest, WritesJournalThatHasItsName) {
  const string journal = table_ + "-journal";
  const int table = Open();
  ASSERT_EQ(Write(table, "a", "", "first"), 1);
  for (const bool replaced : {false, true}) {
    SCOPED_TRACE(replaced);
    ASSERT_TRUE(fs::remove(journal));
    if (replaced) std::ofstream(journal).flush();
    ASSERT_EQ(BeginBatch(table, 1), 1);
    ASSERT_EQ(Write(table, "a", "", replaced ? "third" : "second"), 1);
    EXPECT_GT(fs::file_size(journal), 0U);
    ASSERT_EQ(EndBatch(table), 1);
    EXPECT_EQ(fs::file_size(journal), 0U);
  }
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
