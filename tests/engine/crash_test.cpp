#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "support/helper_process.h"

namespace {

using Rows = std::vector<std::string>;

constexpr int kRowsInBatch = 5;

std::string KeyOf(int row) {
  char key[16];
  std::snprintf(key, sizeof key, "%08d", row);
  return key;
}

// The row under that key, as the engine's tests show rows.
std::string RowOf(int row) {
  char text[32];
  std::snprintf(text, sizeof text, "%08d|%08d", row, row);
  return text;
}

// Writes rows with rising keys, every other five in a batch, and tells each number once its row is promised.
int WriteUntilKilled(const std::vector<std::string>& arguments) {
  const Engine& engine = TheEngine();
  const int table = engine.IOpen(arguments[0].c_str());
  const auto write = [&](int row) {
    return engine.Write(table, KeyOf(row), KeyOf(row / 7), KeyOf(row)) == 1;
  };
  for (int row = std::stoi(arguments[1]);; row += kRowsInBatch) {
    const bool batch = row / kRowsInBatch % 2 == 0;
    if (batch && engine.BeginBatch(table, 1) != 1) return 1;
    for (int i = 0; i < kRowsInBatch; ++i) {
      if (!write(row + i)) return 2;
      if (!batch) Tell(std::to_string(row + i));
    }
    if (batch && engine.EndBatch(table) != 1) return 3;
    if (batch) Tell(std::to_string(row + kRowsInBatch - 1));
  }
}
const Role writeUntilKilled("write-until-killed", WriteUntilKilled);

std::string MemoryFolder() {
  return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : testing::TempDir();
}

TEST_F(EngineTest, KeepsPromisedRowsWhenTheWriterIsKilled) {
  constexpr int rounds = 200;
  std::filesystem::remove_all(folder_);
  folder_ = MakeFolder(MemoryFolder());  // what a killed process wrote is kept, with or without a disk
  table_ = folder_ + "/t.dat";
  ASSERT_EQ(engine_.CreateArchive(table_.c_str(), 100, 8, 8), 0);
  std::mt19937 random(std::random_device{}());
  int next = 0;
  for (int round = 0; round < rounds; ++round) {
    int promised = next - 1;
    {
      HelperProcess writer({"write-until-killed", table_, std::to_string(next)});
      for (auto lines = 1 + random() % 8; lines > 0; --lines) promised = std::stoi(writer.Hear());
      for (auto spin = random() % 200000; spin > 0; --spin) __asm__ volatile("");
      writer.Signal(SIGKILL);
      for (std::string line = writer.Hear(); !line.empty(); line = writer.Hear()) promised = std::stoi(line);
      ASSERT_EQ(writer.Wait(), -SIGKILL);
    }
    const int table = engine_.IOpen(table_.c_str());
    ASSERT_GT(table, 0) << engine_.GetLastErrorText();
    for (int row = next; row <= promised; ++row) {
      ASSERT_EQ(engine_.Read(engine_.ReadKeyEq, table, 1, KeyOf(row)), RowOf(row));
    }
    const std::string last = engine_.Read(engine_.ReadKeyLtEq, table, 1, "~");
    const int written = std::stoi(last) + 1;
    ASSERT_TRUE(written / kRowsInBatch % 2 == 1 || written % kRowsInBatch == 0)
        << "a part of a batch is there";
    next = (written + kRowsInBatch - 1) / kRowsInBatch * kRowsInBatch;
    engine_.IClose(table);
    if (round % 20 != 0) continue;
    ASSERT_EQ(CheckIntegrity(table_), "ok");
  }
  EXPECT_EQ(CheckIntegrity(table_), "ok");
}

// Opens a table in the middle of a large batch whose pages have already gone to the file.
int SpillAndWait(const std::vector<std::string>& arguments) {
  const Engine& engine = TheEngine();
  const int table = engine.IOpen(arguments[0].c_str());
  if (engine.BeginBatch(table, 1) != 1) return 1;
  for (int row = 0; row < 200; ++row) {
    if (engine.Write(table, KeyOf(row), "", "changed") != 1) return 2;
  }
  for (int row = 200; row < 4000; ++row) {
    if (engine.Write(table, KeyOf(row), "", std::string(4000, 'x')) != 1) return 3;
  }
  Tell("spilled");
  Listen();
  return 4;
}
const Role spillAndWait("spill-and-wait", SpillAndWait);

TEST_F(EngineTest, RollsBackWhatAKilledBatchHadWrittenAlready) {
  const std::string path = folder_ + "/large.dat";
  ASSERT_EQ(engine_.CreateArchive(path.c_str(), 4000, 8, 0), 0);
  int table = engine_.IOpen(path.c_str());
  ASSERT_EQ(engine_.BeginBatch(table, 1), 1);
  for (int row = 0; row < 200; ++row) ASSERT_EQ(engine_.Write(table, KeyOf(row), "", "kept"), 1);
  ASSERT_EQ(engine_.EndBatch(table), 1);
  engine_.CloseAll();
  const auto sizeBefore = std::filesystem::file_size(path);
  {
    HelperProcess writer({"spill-and-wait", path});
    ASSERT_EQ(writer.Hear(), "spilled");
    writer.Signal(SIGKILL);
    writer.Wait();
  }
  ASSERT_GT(std::filesystem::file_size(path), sizeBefore) << "the test needs pages in the file";
  ASSERT_GT(std::filesystem::file_size(path + "-journal"), 0U);
  table = engine_.IOpen(path.c_str());
  const Rows rows = engine_.All(table, 1);
  ASSERT_EQ(rows.size(), 200U);
  for (int row = 0; row < 200; ++row) EXPECT_EQ(rows[static_cast<std::size_t>(row)], KeyOf(row) + "|kept");
  engine_.CloseAll();
  EXPECT_EQ(CheckIntegrity(path), "ok");
}

TEST_F(EngineTest, ANewTableTakesNoNoticeOfAnOldJournal) {
  const std::string path = folder_ + "/large.dat";
  ASSERT_EQ(engine_.CreateArchive(path.c_str(), 4000, 8, 0), 0);
  {
    HelperProcess writer({"spill-and-wait", path});
    ASSERT_EQ(writer.Hear(), "spilled");
    writer.Signal(SIGKILL);
    writer.Wait();
  }
  std::filesystem::remove(path);
  ASSERT_GT(std::filesystem::file_size(path + "-journal"), 0U);
  ASSERT_EQ(engine_.CreateArchive(path.c_str(), 20, 4, 3), 0);
  const int table = engine_.IOpen(path.c_str());
  EXPECT_EQ(engine_.GetLength(table, 0), 20);
  EXPECT_EQ(engine_.Write(table, "a", "b", "new"), 1);
  engine_.CloseAll();
  EXPECT_EQ(CheckIntegrity(path), "ok");
}

// A disk of a given size, where the user may have one.
class SmallDisk {
 public:
  SmallDisk(const std::string& folder, const char* size) : folder_(folder) {
    std::filesystem::create_directory(folder_);
    mounted_ = mount("tmpfs", folder_.c_str(), "tmpfs", 0, size) == 0;
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  ~SmallDisk() {
    if (mounted_) umount2(folder_.c_str(), MNT_DETACH);
  }
  [[nodiscard]] bool IsMounted() const { return mounted_; }

  // Takes all room but `left` bytes.
  void FillUp(std::size_t left) const {
    std::filesystem::remove(folder_ + "/filler");
    const std::size_t room = std::filesystem::space(folder_).available;
    std::ofstream(folder_ + "/filler") << std::string(room > left ? room - left : 0, 'f');
  }

 private:
  std::string folder_;
  bool mounted_;
};

TEST_F(EngineTest, AFullDiskLeavesTheTableWhole) {
  const SmallDisk disk(folder_ + "/disk", "size=8m");
  if (!disk.IsMounted()) GTEST_SKIP() << "only root can make a small disk";
  const std::string path = folder_ + "/disk/t.dat";
  ASSERT_EQ(engine_.CreateArchive(path.c_str(), 1000, 8, 3), 0);
  const int table = engine_.IOpen(path.c_str());
  int written = 0;
  for (std::size_t left = 0; left < 200'000; left += 4096) {
    disk.FillUp(left);
    while (written < 5000 && engine_.Write(table, KeyOf(written), "", "single") == 1) ++written;
    ASSERT_LT(written, 5000);
    ASSERT_STREQ(engine_.GetLastErrorText(), "database or disk is full");
    ASSERT_EQ(engine_.All(table, 1).size(), static_cast<std::size_t>(written)) << left;

    ASSERT_EQ(engine_.BeginBatch(table, 1), 1);
    for (int row = 0; row < 1000; ++row)
      static_cast<void>(engine_.Write(table, KeyOf(90'000'000 + row), "", "batch"));
    ASSERT_EQ(engine_.EndBatch(table), 0) << left;
    ASSERT_EQ(engine_.All(table, 1).size(), static_cast<std::size_t>(written)) << left;
  }
  EXPECT_GT(written, 20);
  const std::string refused = folder_ + "/disk/refused.dat";
  disk.FillUp(8192);
  EXPECT_NE(engine_.CreateArchive(refused.c_str(), 20, 4, 3), 0);
  EXPECT_FALSE(std::filesystem::exists(refused));
  std::filesystem::remove(folder_ + "/disk/filler");
  EXPECT_EQ(engine_.Write(table, "after", "", "room again"), 1) << engine_.GetLastErrorText();
  engine_.CloseAll();
  EXPECT_EQ(CheckIntegrity(path), "ok");
}

}  // namespace
