#include <random>

#include "engine/engine.h"
#include "support/helper_process.h"

namespace {

constexpr int kRowsInBatch = 5;

// Writes rows with increasing keys, every other five in a batch, and reports each number once its row is
// committed.
const Role write_until_killed("write-until-killed", [](const std::vector<string>& arguments) {
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
const Role spill_and_wait("spill-and-wait", [](const std::vector<string>& arguments) {
  const int table = IOpen(arguments[0].c_str());
  if (BeginBatch(table, 1) != 1) return 1;
  for (int row = 0; row < 4000; ++row) {
    if (Write(table, KeyOf(row), "", string(4000, 'x')) != 1) return 2;
  }
  Say("spilled");
  Listen();
  return 3;
});

TEST_F(EngineTest, KilledBatchIsRolledBackButNotIntoNewTable) {
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
    const auto size_before = fs::file_size(path);
    HelperProcess writer({"spill-and-wait", path});
    ASSERT_EQ(writer.Hear(), "spilled");
    writer.Signal(SIGKILL);
    writer.Wait();
    ASSERT_GT(fs::file_size(path), size_before) << "the test needs pages in the file";
    ASSERT_GT(fs::file_size(path + "-journal"), 0U);
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
    if (replaced) fs::last_write_time(journal, {});
    ASSERT_EQ(Write(table, "a", "", replaced ? "third" : "second"), 1);
    EXPECT_EQ(fs::file_size(journal), 0U);
    EXPECT_NE(fs::last_write_time(journal), fs::file_time_type());
  }
}

}  // namespace
