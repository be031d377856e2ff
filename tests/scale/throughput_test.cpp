#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "scale/scale.h"
#include "support/helper_process.h"

namespace {

using std::chrono::steady_clock;

constexpr int kClients = 8;
constexpr char kSeconds[] = "8";

// Writes rows, each a transaction of its own, and says how many were committed. Arguments: table, first
// letter of the keys, seconds.
const Role write_alone("write-alone", [](const std::vector<std::string>& arguments) {
  const std::filesystem::path path = arguments[0];
  PermitTables(path.parent_path().c_str(), (path.parent_path().parent_path() / "tables.ini").c_str());
  const int table = IOpen(path.c_str());
  Say("ready");
  Listen();
  const auto end = steady_clock::now() + std::chrono::seconds(std::stoi(arguments[2]));
  int committed = 0;
  for (int row = 0; steady_clock::now() < end; ++row) {
    const std::string key = arguments[1] + std::to_string(row % 1000);
    if (WriteRawKeys(table, key.c_str(), "", "01234567890123456789") == 1) ++committed;
  }
  Say(std::to_string(committed));
  return 0;
});

int CommittedWrites(const std::string& table) {
  std::vector<std::unique_ptr<HelperProcess>> clients;
  for (int i = 0; i < kClients; ++i) {
    const std::string letter(1, static_cast<char>('A' + i));
    clients.push_back(
        std::make_unique<HelperProcess>(std::vector<std::string>{"write-alone", table, letter, kSeconds}));
    EXPECT_EQ(clients.back()->Hear(), "ready");
  }
  for (const auto& client : clients) client->Say("go");
  int committed = 0;
  for (const auto& client : clients) committed += std::stoi(client->Hear());
  return committed;
}

class ThroughputTest : public ScaleTest {};

// Both on a disk, where a commit takes as long as it takes to be safe. Only the ratio means something.
TEST_F(ThroughputTest, CommitsMoreWritesThanAFile) {
  const TempFolder disk("/var/tmp");
  std::filesystem::permissions(disk.Host(), std::filesystem::perms(0755));
  Database server(disk.Host("server"));
  server.Start();
  AddService("disk", server.Service());
  disk.Make("local");
  disk.Make("remote");
  WriteTablesIni("disk");
  std::filesystem::copy(folder_.Host("tables.ini"), disk.Host("tables.ini"));
  ASSERT_EQ(PermitTables(disk.Host("remote").c_str(), disk.Host("tables.ini").c_str()), 1);
  const std::string local = disk.Host("local/t.dat");
  const std::string remote = disk.Host("remote/t.dat");
  // The tables.ini does not change how a table in a file is opened.
  ASSERT_GT(Make(local), 0) << GetLastErrorText();
  ASSERT_GT(Make(remote), 0) << GetLastErrorText();
  const int in_file = CommittedWrites(local);
  const int in_server = CommittedWrites(remote);
  std::printf("%s s of 8 clients: %d committed writes in a file, %d in PostgreSQL\n", kSeconds, in_file,
              in_server);
  EXPECT_GE(in_server, 5 * in_file);
}

}  // namespace
