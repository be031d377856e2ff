#include <signal.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "scale/scale.h"
#include "support/helper_process.h"

namespace {

using std::chrono::steady_clock;

constexpr int kRowsInBatch = 20;
constexpr int kLongestEnd = 6'000;  // microseconds

std::string KeyOf(int batch, int row) {
  return std::string(1, static_cast<char>('A' + row)) + std::to_string(100 + batch);
}

// Writes batches. Waits after the begin of each, and says what its end returned.
const Role write_batches("write-batches", [](const std::vector<std::string>& arguments) {
  const std::filesystem::path path = arguments[0];
  PermitTables(path.parent_path().c_str(), (path.parent_path().parent_path() / "tables.ini").c_str());
  const int table = IOpen(path.c_str());
  for (int batch = 0; Listen() == "begin"; ++batch) {
    const bool has_begun = BeginBatch(table, 1) == 1;
    Say(has_begun ? "begun" : GetLastErrorText());
    Listen();
    // A row may be refused, if the server has already been killed.
    for (int row = 0; row < kRowsInBatch; ++row)
      WriteRawKeys(table, KeyOf(batch, row).c_str(), "", "01234567890123456789");
    Say(EndBatch(table) == 1 ? "1" : std::string("0 ") + GetLastErrorText());
  }
  return 0;
});

class CommitTest : public ScaleTest {
 protected:
  // The process of the server that serves an open batch.
  [[nodiscard]] static pid_t ProcessOfBatch() {
    return std::stoi(Server().Sql("SELECT pid FROM pg_stat_activity WHERE backend_xid IS NOT NULL"));
  }
};

// The server restarts after one of its processes was killed, and rolls back what was not committed.
TEST_F(CommitTest, ResultOfAnEndIsWhatIsInTheTable) {
  constexpr int rounds = 20;
  const int table = Make(Remote());
  ASSERT_GT(table, 0) << GetLastErrorText();
  HelperProcess writer({"write-batches", Remote()});
  std::mt19937 random(std::random_device{}());
  int kept = 0;
  for (int round = 0; round < rounds; ++round) {
    writer.Say("begin");
    ASSERT_EQ(writer.Hear(), "begun") << "round " << round;
    const pid_t process = ProcessOfBatch();
    writer.Say("end");
    const auto moment = steady_clock::now() + std::chrono::microseconds(random() % kLongestEnd);
    while (steady_clock::now() < moment) {
    }
    kill(process, SIGKILL);
    const std::string result = writer.Hear();
    int found = 0;
    for (int row = 0; row < kRowsInBatch; ++row) {
      char key[8] = {};
      char record[21];
      KeyOf(round, row).copy(key, sizeof key - 1);
      found += ReadKeyEq(table, 1, key, record);
    }
    EXPECT_EQ(found, result == "1" ? kRowsInBatch : 0) << "round " << round << ": " << result;
    kept += result == "1" ? 1 : 0;
  }
  Server().Stop();  // it may still be restarting
  Server().Start();
  EXPECT_GT(kept, 0);
  EXPECT_LT(kept, rounds);
  std::printf("%d of %d batches were committed\n", kept, rounds);
}

}  // namespace
