
#include <chrono>
#include <thread>

#include "engine/engine.h"
#include "support/helper_process.h"

namespace {

// Opens a table, begins a batch, writes "h" in it, reports that and waits for a line.
const Role hold_batch("hold-batch", [](const std::vector<string>& arguments) {
  const int table = IOpen(arguments[0].c_str());
  if (BeginBatch(table, 1) != 1 || Write(table, "h", "", "helper") != 1) return 1;
  Say("in");
  Listen();
  return EndBatch(table) == 1 ? 0 : 2;
});

TEST_F(EngineTest, BatchIsOneTransaction) {
  const int table = Open();
  EXPECT_EQ(EndBatch(table), 0) << "none is open";
  ASSERT_EQ(BeginBatch(table, 1), 1);
  EXPECT_EQ(Write(table, "a", "", "1"), 1);
  EXPECT_EQ(WriteRawKeys(table, "b", "", nullptr), 0) << "a row that fails";
  EXPECT_EQ(Write(table, "c", "", "3"), 1);
  EXPECT_EQ(All(table), (Rows{"a|1", "c|3"})) << "the batch sees its own rows";
  EXPECT_EQ(EndBatch(table), 1);
  EXPECT_EQ(All(table), (Rows{"a|1", "c|3"}));
}

TEST_F(EngineTest, BatchesNestAndEndWithTheirHandle) {
  const int outer = Open();
  const int inner = Open();
  const int other = Open();
  ASSERT_EQ(BeginBatch(outer, 0), 1);
  EXPECT_EQ(BeginBatch(outer, 1), 0) << "a snapshot is no place to write";
  EXPECT_EQ(EndBatch(outer), 1);

  ASSERT_EQ(BeginBatch(outer, 1), 1);
  EXPECT_EQ((Codes{BeginBatch(inner, 0), BeginBatch(inner, 1), Write(inner, "a", "", "1"), EndBatch(inner)}),
            Codes(4, 1));
  EXPECT_EQ(IClose(inner), 1) << "ends its other batch";
  EXPECT_EQ(EndBatch(outer), 1);
  EXPECT_EQ(EndBatch(outer), 0);

  ASSERT_EQ(BeginBatch(outer, 1), 1);
  EXPECT_EQ(Write(outer, "b", "", "2"), 1);
  EXPECT_EQ(IClose(outer), 1);
  std::thread([&] { EXPECT_EQ(Write(other, "c", "", "3"), 1); }).join();
  EXPECT_EQ(All(other), (Rows{"a|1", "b|2", "c|3"}));
}

TEST_F(EngineTest, ReadBatchIsOneSnapshot) {
  const int table = Open();
  ASSERT_EQ(BeginBatch(table, 0), 1);
  EXPECT_EQ(Read(ReadKeyEq, table, 1, "h"), "");
  HelperProcess writer({"hold-batch", table_});  // waits for our snapshot
  writer.Say("end");
  for (int round = 0; round < 1000; ++round) {
    ASSERT_EQ(Read(ReadKeyEq, table, 1, "h"), "");
  }
  EXPECT_EQ(EndBatch(table), 1);
  EXPECT_EQ(writer.Hear(), "in");
  EXPECT_EQ(writer.Wait(), 0);
  EXPECT_EQ(Read(ReadKeyEq, table, 1, "h"), "h|helper");
}

TEST_F(EngineTest, WaitsForAnotherProcessUntilTimeout) {
  const int table = Open();
  HelperProcess holder({"hold-batch", table_});
  ASSERT_EQ(holder.Hear(), "in");
  // The second thread waits for the turn of the first, but only as long as its own call may wait.
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::thread> calls;
  for (const bool for_writing : {true, false}) {
    calls.emplace_back([=] {
      EXPECT_EQ(for_writing ? Write(table, "a", "", "1") : BeginBatch(table, 0), 0);
      EXPECT_EQ(GetLastProblem(), 2) << GetLastErrorText();
      const auto waited = std::chrono::steady_clock::now() - start;
      EXPECT_GE(waited, std::chrono::seconds(9));
      EXPECT_LE(waited, std::chrono::seconds(14));
    });
  }
  for (std::thread& call : calls) call.join();
  holder.Say("end");
  EXPECT_EQ(holder.Wait(), 0);
  EXPECT_EQ(Write(table, "a", "", "1"), 1);
  EXPECT_EQ(All(table), (Rows{"a|1", "h|helper"}));
}

}  // namespace
