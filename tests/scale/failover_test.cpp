#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "scale/scale.h"
#include "support/helper_process.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kWriters = 4;
constexpr int kRowsInBatch = 3;
constexpr std::size_t kRowsOfWriter = 200;  // before and after the failure

std::string KeyOf(const std::string& writer, int row) {
  char key[16];
  std::snprintf(key, sizeof key, "%s%07d", writer.c_str(), row % 10'000'000);
  return key;
}

// Writes rows alone and in batches, and appends the number of each row that was acknowledged to a file. At
// the end, says the longest time without an acknowledgement. Arguments: table, one letter, file.
const Role write_on("write-on", [](const std::vector<std::string>& arguments) {
  const std::filesystem::path path = arguments[0];
  PermitTables(path.parent_path().c_str(), (path.parent_path().parent_path() / "tables.ini").c_str());
  const int table = IOpen(path.c_str());
  std::ofstream acknowledged(arguments[2]);
  std::atomic<bool> ends = false;
  std::thread listener([&ends] {
    Listen();
    ends = true;
  });
  Say(table > 0 ? "writes" : GetLastErrorText());
  auto last = steady_clock::now();
  steady_clock::duration longest{};
  for (int row = 0; !ends; row += kRowsInBatch) {
    const bool is_batch = row % 2 == 0 && BeginBatch(table, 1) == 1;
    const int rows = is_batch ? kRowsInBatch : 1;
    bool done = true;
    for (int i = row; i < row + rows; ++i)
      done = WriteRawKeys(table, KeyOf(arguments[1], i).c_str(), "", "01234567890123456789") == 1 && done;
    if (is_batch) done = EndBatch(table) == 1 && done;
    if (!done) continue;
    for (int i = row; i < row + rows; ++i) acknowledged << i << std::endl;
    longest = std::max(longest, steady_clock::now() - last);
    last = steady_clock::now();
  }
  listener.join();
  acknowledged.close();
  Say(std::to_string(std::chrono::duration_cast<milliseconds>(longest).count()));
  return 0;
});

class FailoverTest : public ScaleTest {
 protected:
  void SetUp() override {
    ScaleTest::SetUp();
    if (IsSkipped()) return;
    std::filesystem::permissions(folder_.Host(), std::filesystem::perms(0755));
    for (const char* name : {"a", "b", "c"}) nodes_.push_back(std::make_unique<Database>(folder_.Host(name)));
    cluster_ = "host=" + nodes_[0]->Folder() + "," + nodes_[1]->Folder() + "," + nodes_[2]->Folder() +
               " port=5432,5432,5432";
    nodes_[0]->Start({"wal_retrieve_retry_interval=200ms"});
    for (const std::size_t standby : {1U, 2U}) AddStandby(*nodes_[0], *nodes_[standby]);
    static_cast<void>(nodes_[0]->Sql("ALTER SYSTEM SET synchronous_standby_names = 'ANY 1 (*)'"));
    static_cast<void>(nodes_[0]->Sql("SELECT pg_reload_conf()"));
    std::string settings =
        cluster_ + " user=tvl dbname=postgres target_session_attrs=read-write connect_timeout=3";
    std::replace(settings.begin(), settings.end(), ' ', '\n');
    AddService("cluster", settings + '\n');
    WriteTablesIni("cluster", "");
  }

  void AddStandby(const Database& primary, Database& standby) const {
    standby.Follow(primary, cluster_);
    standby.Configure("synchronous_standby_names = 'ANY 1 (*)'");
    standby.Start({"wal_retrieve_retry_interval=200ms"});
  }

  // Kills the primary and promotes the standby that has received more. Returns the new primary.
  std::size_t FailOver(std::size_t primary) {
    nodes_[primary]->Kill();
    const std::size_t first = (primary + 1) % 3;
    const std::size_t second = (primary + 2) % 3;
    const std::string received = nodes_[second]->Sql("SELECT pg_last_wal_receive_lsn()");
    const bool is_first = nodes_[first]->Sql("SELECT pg_last_wal_receive_lsn() >= '" + received + "'") == "t";
    const std::size_t best = is_first ? first : second;
    nodes_[best]->Promote();
    return best;
  }

  [[nodiscard]] std::vector<int> Acknowledged(const std::string& letter) const {
    std::ifstream file(folder_.Host("acknowledged." + letter));
    return {std::istream_iterator<int>(file), {}};
  }

  void AwaitRows(const std::string& letter, std::size_t rows) const {
    const auto end = steady_clock::now() + std::chrono::seconds(15);
    while (Acknowledged(letter).size() < rows && steady_clock::now() < end) std::this_thread::yield();
    EXPECT_GE(Acknowledged(letter).size(), rows) << letter;
  }

  std::vector<std::unique_ptr<Database>> nodes_;
  std::string cluster_;
};

TEST_F(FailoverTest, KeepsAcknowledgedRowsWhenPrimaryIsKilled) {
  ASSERT_EQ(CreateArchive(Remote().c_str(), 20, 8, 0), 0) << GetLastErrorText();
  std::size_t primary = 0;
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE(round);
    std::vector<std::unique_ptr<HelperProcess>> writers;
    std::vector<std::string> letters;
    for (int i = 0; i < kWriters; ++i) {
      const std::string& letter = letters.emplace_back(1, static_cast<char>('A' + round * kWriters + i));
      writers.push_back(std::make_unique<HelperProcess>(
          std::vector<std::string>{"write-on", Remote(), letter, folder_.Host("acknowledged." + letter)}));
      ASSERT_EQ(writers.back()->Hear(), "writes");
    }
    for (const auto& writer : letters) AwaitRows(writer, kRowsOfWriter);
    const std::size_t killed = primary;
    primary = FailOver(primary);
    for (const auto& writer : letters) AwaitRows(writer, Acknowledged(writer).size() + kRowsOfWriter);
    int gap = 0;
    for (const auto& writer : writers) {
      writer->Say("end");
      gap = std::max(gap, std::stoi(writer->Hear()));
      EXPECT_EQ(writer->Wait(), 0);
    }
    EXPECT_LT(gap, 5000);
    int rows = 0;
    const int table = IOpen(Remote().c_str());
    ASSERT_GT(table, 0) << GetLastErrorText();
    for (const std::string& letter : letters) {
      for (const int row : Acknowledged(letter)) {
        ++rows;
        char key[16] = {};
        char record[21];
        KeyOf(letter, row).copy(key, sizeof key - 1);
        ASSERT_EQ(ReadKeyEq(table, 1, key, record), 1) << letter << row << ": " << GetLastErrorText();
      }
    }
    IClose(table);
    std::printf("round %d: %d acknowledged rows, none missing, longest gap %d ms\n", round, rows, gap);
    AddStandby(*nodes_[primary], *nodes_[killed]);
  }
}

}  // namespace
