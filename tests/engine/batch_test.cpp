#include <signal.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "engine/engine.h"
#include "support/helper_process.h"

namespace {

using Rows = std::vector<std::string>;

// Opens a table, begins a batch ("write" or "read"), writes "h" in the former, says so and waits for a line.
int HoldBatch(const std::vector<std::string>& arguments) {
  const Engine& engine = TheEngine();
  const bool forWriting = arguments[1] == "write";
  const int table = engine.IOpen(arguments[0].c_str());
  if (engine.BeginBatch(table, forWriting ? 1 : 0) != 1) return 1;
  if (forWriting && engine.Write(table, "h", "", "helper") != 1) return 2;
  Tell("in");
  Listen();
  return engine.EndBatch(table) == 1 ? 0 : 3;
}
const Role holdBatch("hold-batch", HoldBatch);

TEST_F(EngineTest, BatchIsOneTransaction) {
  const int table = engine_.IOpen(table_.c_str());
  EXPECT_EQ(engine_.EndBatch(table), 0) << "none is open";
  ASSERT_EQ(engine_.BeginBatch(table, 1), 1);
  EXPECT_EQ(engine_.Write(table, "a", "", "1"), 1);
  EXPECT_EQ(engine_.WriteRawKeys(table, "b", "", nullptr), 0) << "a row that fails";
  EXPECT_EQ(engine_.Write(table, "c", "", "3"), 1);
  EXPECT_EQ(engine_.All(table, 1), (Rows{"a|1", "c|3"})) << "the batch sees its own rows";
  EXPECT_EQ(engine_.EndBatch(table), 1);
  EXPECT_EQ(engine_.All(table, 1), (Rows{"a|1", "c|3"}));
}

TEST_F(EngineTest, BatchesNestOnTheirTable) {
  const int outer = engine_.IOpen(table_.c_str());
  const int inner = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.BeginBatch(outer, 1), 1);
  EXPECT_EQ(engine_.BeginBatch(inner, 0), 1);
  EXPECT_EQ(engine_.BeginBatch(inner, 1), 1);
  EXPECT_EQ(engine_.Write(inner, "a", "", "1"), 1);
  EXPECT_EQ(engine_.EndBatch(inner), 1);
  EXPECT_EQ(engine_.IClose(inner), 1) << "ends its other batch";
  EXPECT_EQ(engine_.EndBatch(outer), 1);
  EXPECT_EQ(engine_.EndBatch(outer), 0);

  ASSERT_EQ(engine_.BeginBatch(outer, 0), 1);
  EXPECT_EQ(engine_.BeginBatch(outer, 1), 0) << "a snapshot is no place to write";
  EXPECT_EQ(engine_.EndBatch(outer), 1);
  EXPECT_EQ(engine_.All(outer, 1), Rows{"a|1"});
}

TEST_F(EngineTest, ClosingAHandleEndsItsBatch) {
  const int table = engine_.IOpen(table_.c_str());
  const int other = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.BeginBatch(table, 1), 1);
  EXPECT_EQ(engine_.Write(table, "a", "", "1"), 1);
  EXPECT_EQ(engine_.IClose(table), 1);
  std::thread([&] { EXPECT_EQ(engine_.Write(other, "b", "", "2"), 1); }).join();
  EXPECT_EQ(engine_.All(other, 1), (Rows{"a|1", "b|2"}));
}

TEST_F(EngineTest, ReadBatchIsOneSnapshot) {
  const int table = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.BeginBatch(table, 0), 1);
  EXPECT_EQ(engine_.Read(engine_.ReadKeyEq, table, 1, "h"), "");
  HelperProcess writer({"hold-batch", table_, "write"});
  ASSERT_EQ(writer.Hear(), "in");
  writer.Say("end");  // its commit waits for our snapshot
  for (int round = 0; round < 1000; ++round) {
    ASSERT_EQ(engine_.Read(engine_.ReadKeyEq, table, 1, "h"), "");
  }
  EXPECT_EQ(engine_.EndBatch(table), 1);
  EXPECT_EQ(writer.Wait(), 0);
  EXPECT_EQ(engine_.Read(engine_.ReadKeyEq, table, 1, "h"), "h|helper");
}

TEST_F(EngineTest, ThreadsTakeTurns) {
  constexpr int threads = 4;
  constexpr int rows = 200;
  const int table = engine_.IOpen(table_.c_str());
  std::vector<std::thread> running;
  running.reserve(threads);
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      const int own = engine_.IOpen(table_.c_str());
      for (int row = 0; row < rows; row += 10) {
        EXPECT_EQ(engine_.BeginBatch(own, 1), 1);
        for (int i = row; i < row + 10; ++i) {
          const std::string key = std::to_string(thread * 1000 + i);
          EXPECT_EQ(engine_.Write(own, key, key.substr(0, 3), key), 1);
        }
        EXPECT_EQ(engine_.EndBatch(own), 1);
      }
      engine_.IClose(own);
    });
  }
  for (std::thread& thread : running) thread.join();
  EXPECT_EQ(engine_.All(table, 1).size(), static_cast<std::size_t>(threads * rows));
}

TEST_F(EngineTest, WaitsForAnotherProcessAndGivesUp) {
  using Clock = std::chrono::steady_clock;
  const int table = engine_.IOpen(table_.c_str());
  HelperProcess stopped({"hold-batch", table_, "write"});
  ASSERT_EQ(stopped.Hear(), "in");
  stopped.Signal(SIGSTOP);
  EXPECT_EQ(engine_.Read(engine_.ReadKeyEq, table, 1, "h"), "") << "readers needn't wait";
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(engine_.Write(table, "a", "", "1"), 0);
  const auto waited = Clock::now() - start;
  EXPECT_GE(waited, std::chrono::seconds(9));
  EXPECT_LE(waited, std::chrono::seconds(20));
  EXPECT_STREQ(engine_.GetLastErrorText(), "database is locked");
  stopped.Signal(SIGCONT);
  stopped.Say("end");
  EXPECT_EQ(stopped.Wait(), 0);
  EXPECT_EQ(engine_.Write(table, "a", "", "1"), 1);
  EXPECT_EQ(engine_.All(table, 1), (Rows{"a|1", "h|helper"}));
}

}  // namespace
