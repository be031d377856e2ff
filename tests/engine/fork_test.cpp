#include <atomic>
#include <thread>

#include "engine/engine.h"
#include "support/forked.h"
#include "support/helper_process.h"
#include "support/scale.h"

namespace {

// A child returns 1 if all went well. It has neither the handles nor the batch of its parent, but can open
// the table again. The same is true for its own child.
TEST_F(EngineTest, ForkedChildrenAreIndependent) {
  int refused[2];
  ASSERT_EQ(pipe(refused), 0);
  const int table = Open();
  ASSERT_EQ(BeginBatch(table, 1), 1);
  ASSERT_EQ(Write(table, "a", "", "parent"), 1);
  const pid_t child = Fork([&] {
    if (Write(table, "x", "", "") != 0 || GetLength(table, 0) != -1) return false;
    if (IClose(table) != 0 || BeginBatch(table, 1) != 0) return false;
    CloseAll();
    if (write(refused[1], "x", 1) != 1) return false;
    const int own = Open();  // waits for the parent's batch
    if (own <= table || BeginBatch(own, 1) != 1 || Write(own, "b", "", "child") != 1) return false;
    const pid_t grandchild = Fork([&] {
      const int third = Open();
      return GetLength(own, 0) == -1 && third > own && All(third) == Rows{"a|parent", "b|child", "c|parent"};
    });
    return EndBatch(own) == 1 && WaitFor(grandchild) == 1;
  });
  char byte = 0;
  EXPECT_EQ(read(refused[0], &byte, 1), 1);
  EXPECT_EQ(Write(table, "c", "", "parent"), 1);
  EXPECT_EQ(EndBatch(table), 1) << GetLastErrorText();
  EXPECT_EQ(WaitFor(child), 1);
  EXPECT_FALSE(CanLockWhole(table_)) << "the parent's hold outlives the child";
  EXPECT_EQ(All(table), (Rows{"a|parent", "b|child", "c|parent"}));
  CloseAll();
  EXPECT_EQ(CheckIntegrity(table_), "ok");
  close(refused[0]);
  close(refused[1]);
}

constexpr int kRows = 100;

// Opens a table and writes rows with a name, every other row in a batch.
bool WriteRows(const string& path, char name) {
  const int table = IOpen(path.c_str());
  bool good = table > 0;
  for (int row = 0; row < kRows; ++row) {
    const bool batch = row % 2 == 0;
    good = good && (!batch || BeginBatch(table, 1) == 1);
    good = good && Write(table, name + std::to_string(row), "", "") == 1;
    good = good && (!batch || EndBatch(table) == 1);
  }
  return good && IClose(table) == 1;
}

const Role write_rows("write-rows", [](const std::vector<string>& arguments) {
  return WriteRows(arguments[0], 'p') ? 0 : 1;
});

// In a child, no lock of the module may be held by a thread that does not exist there. Sanitizers leave their
// own allocator locked in such a child, so with them only another process writes meanwhile.
TEST_F(EngineTest, ThreadsChildrenAndProcessesWriteConcurrently) {
  const int table = Open();
  HelperProcess other({"write-rows", table_});
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  const string names = kSanitized ? "" : "rst";
  for (const char name : names) {
    threads.emplace_back([&, name] {
      do EXPECT_TRUE(WriteRows(table_, name)) << GetLastErrorText();
      while (!stop);
    });
  }
  for (int round = 0; round < 40; ++round) {
    EXPECT_EQ(WaitFor(Fork([&] { return Write(Open(), 'c' + std::to_string(round), "", ""); })), 1);
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(other.Wait(), 0);
  EXPECT_EQ(All(table).size(), (names.size() + 1) * kRows + 40);
  CloseAll();
  EXPECT_EQ(CheckIntegrity(table_), "ok");
}

}  // namespace
