#include <chrono>
#include <cstdio>
#include <string>

#include <tvlclient/smb_opr.h>

#include "scale/relay.h"
#include "scale/scale.h"

namespace {

using std::chrono::steady_clock;

constexpr int kRows = 10'000;

std::string KeyOf(int row) {
  char key[16];
  std::snprintf(key, sizeof key, "%04x", static_cast<unsigned int>(row));
  return key;
}

int ReadAll(int table) {
  char key[8] = {};
  char record[21] = {};
  int rows = 0;
  for (int found = ReadKeyGtEq(table, 1, key, record); found == 1; found = ReadKeyGt(table, 1, key, record)) {
    EXPECT_EQ(std::string(key), KeyOf(rows));
    ++rows;
  }
  return rows;
}

class ScanTest : public ScaleTest {};

TEST_F(ScanTest, ReadsManyRowsInFewRoundTrips) {
  const Relay relay(Server().Socket());
  AddService("relay",
             "host=127.0.0.1\nport=" + std::to_string(relay.Port()) + "\nuser=tvl\ndbname=postgres\n");
  WriteTablesIni("relay");
  const int table = Make(Remote());
  ASSERT_GT(table, 0) << GetLastErrorText();

  const auto writing = steady_clock::now();
  int trips = relay.RoundTrips();
  ASSERT_EQ(BeginBatch(table, 1), 1) << GetLastErrorText();
  for (int row = 0; row < kRows; ++row) {
    ASSERT_EQ(WriteRawKeys(table, KeyOf(row).c_str(), "", "01234567890123456789"), 1) << GetLastErrorText();
  }
  ASSERT_EQ(EndBatch(table), 1) << GetLastErrorText();
  const std::chrono::duration<double> written = steady_clock::now() - writing;
  EXPECT_LE(relay.RoundTrips() - trips, kRows / 50 + 10);

  const auto start = steady_clock::now();
  trips = relay.RoundTrips();
  ASSERT_EQ(BeginBatch(table, 0), 1);
  EXPECT_EQ(ReadAll(table), kRows);
  ASSERT_EQ(EndBatch(table), 1);
  const std::chrono::duration<double> took = steady_clock::now() - start;
  trips = relay.RoundTrips() - trips;
  EXPECT_LE(trips, 60);
  EXPECT_LT(took.count(), 0.3);
  std::printf("%d rows read in %d round trips, %.3f s; written in %.2f s\n", kRows, trips, took.count(),
              written.count());
}

}  // namespace
