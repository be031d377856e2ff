#include <sched.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "scale/scale.h"
#include "support/helper_process.h"

// A server and a client in network namespaces of their own, which a pair of virtual network cards connects.

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr char kRecord[] = "01234567890123456789";

// Is a computer of its own, and says so.
const Role be_computer("be-computer", [](const std::vector<std::string>&) {
  Say(unshare(CLONE_NEWNET) == 0 ? "ready" : "no");
  Listen();
  return 0;
});

// The same, with a client that has a table open and keeps its lock. Argument: table.
const Role lock_over_network("lock-over-network", [](const std::vector<std::string>& arguments) {
  const fs::path path = arguments[0];
  Say(unshare(CLONE_NEWNET) == 0 ? "ready" : "no");
  Listen();
  PermitTables(path.parent_path().c_str(), (path.parent_path().parent_path() / "tables.ini").c_str());
  const int table = IOpen(path.c_str());
  const bool has_begun = BeginBatch(table, 1) == 1 && WriteRawKeys(table, "a", "", kRecord) == 1;
  Say(has_begun ? "locked" : GetLastErrorText());
  Listen();
  Say(EndBatch(table) == 0 ? "lost" : "committed");
  return 0;
});

class NetworkTest : public ScaleTest {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root for two network namespaces";
    ScaleTest::SetUp();
  }

  // Runs a command on the computer of a process.
  static void On(const HelperProcess& computer, const std::string& command) {
    const std::string line = "nsenter --target " + std::to_string(computer.Pid()) + " --net " + command;
    EXPECT_EQ(system(line.c_str()), 0) << line;
  }

  static void Connect(const HelperProcess& one, const HelperProcess& other) {
    On(one, "ip link add card type veth peer name card netns " + std::to_string(other.Pid()));
    On(one, "ip address add 10.9.8.1/24 dev card");
    On(other, "ip address add 10.9.8.2/24 dev card");
    for (const HelperProcess* computer : {&one, &other}) {
      On(*computer, "ip link set lo up");
      On(*computer, "ip link set card up");
    }
  }
};

// Both sides notice after ten seconds that the other computer is dead, so its lock does not stay.
TEST_F(NetworkTest, NoticesDeadComputer) {
  HelperProcess host({"be-computer"});
  HelperProcess client({"lock-over-network", Remote()});
  if (host.Hear() != "ready" || client.Hear() != "ready") GTEST_SKIP() << "no network namespaces here";
  Connect(host, client);
  fs::permissions(folder_.Host(), fs::perms(0755));
  Database server(folder_.Host("other"));
  server.RunOn(host.Pid());
  server.Allow("10.9.8.0/24");
  server.Start({"listen_addresses=10.9.8.1"});
  AddService("network", "host=10.9.8.1\nuser=tvl\ndbname=postgres\n");
  AddService("local", server.Service());
  WriteTablesIni("local");
  ASSERT_EQ(CreateArchive(Remote().c_str(), 20, 4, 3), 0) << GetLastErrorText();
  WriteTablesIni("network");
  client.Say("begin");
  ASSERT_EQ(client.Hear(), "locked");

  const auto cut = steady_clock::now();
  const auto since = [&cut] { return steady_clock::now() - cut; };
  On(host, "ip link set card down");
  client.Say("end");
  const std::string locks = "SELECT count(*) FROM pg_locks WHERE locktype = 'advisory'";
  EXPECT_EQ(server.Sql(locks), "1");
  while (server.Sql(locks) != "0" && since() < seconds(30)) std::this_thread::sleep_for(seconds(1) / 10);
  EXPECT_LT(since(), seconds(12)) << "the server noticed late";
  const auto by_server = since();
  EXPECT_EQ(client.Hear(), "lost");
  EXPECT_LT(since(), seconds(24)) << "the client noticed late, or waited for the server for too long";
  std::printf("a dead computer: noticed by the server after %.1f s, given up by the client after %.1f s\n",
              std::chrono::duration<double>(by_server).count(),
              std::chrono::duration<double>(since()).count());
}

}  // namespace
