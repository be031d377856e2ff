#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include <tvlclient/tcp_opr.h>

#include "server/raw_client.h"
#include "server/server_process.h"

namespace {

using std::string;

// Runs `work` with the numbers from 0 in that many threads.
void InThreads(int count, const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

TEST(ManyClients, TwoHundredAtOnceGetWhatIsTheirs) {
  constexpr int kClients = 200;
  const ServedStore store;
  const ServerProcess server(store);
  std::atomic<int> right{0};
  std::atomic<int> owners{0};
  InThreads(kClients, [&](int i) {
    const RawClient client =
        RawClient::Entered(server.Port(), {"mgrx", "pc" + std::to_string(i % 7), "ann", ""});
    const string name = "folder" + std::to_string(i % 10) + "/" + std::to_string(i);
    const string bytes(1000 * static_cast<std::size_t>(i) + 1, static_cast<char>(i));
    const bool stored = client.Put(name, bytes) == 0;
    const bool fetched = client.Get(name).bytes == bytes;
    const bool locked = client.Ask("L" + name).starts_with("1\t");
    if (client.Ask("Lshared").starts_with("1\t")) ++owners;
    const bool unlocked = client.Ask("l" + name) == "0";
    const bool replaced = client.Put("contended", bytes) == 0;
    client.SendPacket("X");
    if (stored && fetched && locked && unlocked && replaced && client.IsEnded()) ++right;
  });
  EXPECT_EQ(right, kClients);
  EXPECT_GE(owners, 1);
  const string contended = store.Read("contended");
  EXPECT_EQ(contended, string(contended.size(), contended[0]));
  EXPECT_EQ(store.Files().size(), kClients + 10U + 1U);
  EXPECT_TRUE(store.store.Markers().empty());
}

TEST(ManyClients, SlowOnesDelayNobody) {
  const ServedStore store;
  store.Write("big", string(4000000, 'b'));
  store.Write("small", "small");
  const ServerProcess server(store);
  std::vector<RawClient> slow;
  for (int i = 0; i < 20; ++i) {
    RawClient client = RawClient::Entered(server.Port());
    client.SetReceiveBuffer(2048);
    // Asks ahead for far more than it ever takes, so that the server can't send on.
    for (int packets = 0; packets < 90; ++packets) client.SendPacket(packets == 0 ? "Gbig\t@" : "0");
    slow.push_back(std::move(client));
  }
  for (int i = 0; i < 20; ++i) {
    RawClient client(server.Port());
    client.Send("#");  // and some that don't even say who they are
    slow.push_back(std::move(client));
  }
  const RawClient client = RawClient::Entered(server.Port());
  const auto began = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(client.Get("small").bytes, "small");
    ASSERT_TRUE(client.Ask("LORD1").starts_with("1\t"));
    ASSERT_EQ(client.Ask("lORD1"), "0");
  }
  // The first of the slow ones would be given up behind a minute.
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(30));
}

// The state of a lock operation on a connection of the library.
using Operation = int (CTVLClientOpr::*)(char*, int*, char*, int*, int*, char*, char*);

int StateOf(CTVLClientOpr& connection, Operation operation, const char* object, char* computer = nullptr) {
  int state = -1;
  if ((connection.*operation)(Arg(object), &state, computer, nullptr, nullptr, nullptr, nullptr) != 0)
    return -1;
  return state;
}

int Connect(CTVLClientTcpOpr& connection, const ServerProcess& server, const TempFolder& work) {
  return connection.Open(Arg(work.Host()), Arg(""), Arg("127.0.0.1"), server.Port(), Arg("mgrx"), Arg("tag"));
}

TEST(ManyClients, SeeTheLocksOfTheDirectoryAndTheOtherWayRound) {
  const ServedStore store;
  const ServerProcess server(store);
  CTVLClientSmbOpr directory;
  ASSERT_EQ(store.store.Connect(directory), 0);
  const string here = directory.ComputerName();
  const struct {
    string computer;
    int state;
  } rows[] = {{here, 2}, {"elsewhere", 3}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.computer);
    const RawClient client = RawClient::Entered(server.Port(), {"mgrx", row.computer, "ann", ""});
    const string state = std::to_string(row.state);
    char computer[64] = {};
    ASSERT_EQ(StateOf(directory, &CTVLClientOpr::Lock, "A"), 1);
    EXPECT_TRUE(client.Ask("LA").starts_with(state + "\t" + here + "\t"));
    EXPECT_TRUE(client.Ask("lA").starts_with(state + "\t"));
    EXPECT_EQ(StateOf(directory, &CTVLClientOpr::Unlock, "A"), 0);
    EXPECT_TRUE(client.Ask("LA").starts_with("1\t"));
    EXPECT_EQ(StateOf(directory, &CTVLClientOpr::Lock, "A", computer), row.state);
    EXPECT_EQ(string(computer), row.computer);
    client.SendPacket("X");
    EXPECT_TRUE(client.IsEnded());
  }
}

// Each of the two takes the lock when it can, notes that it has it, and gives it back.
TEST(ManyClients, NeverHoldALockThatADirectoryClientHolds) {
  constexpr int kRounds = 500;
  const ServedStore store;
  const ServerProcess server(store);
  std::atomic<int> holders{0};
  std::atomic<int> taken{0};
  std::atomic<int> clashes{0};
  const auto contend = [&](CTVLClientOpr& connection) {
    for (int round = 0; round < kRounds; ++round) {
      if (StateOf(connection, &CTVLClientOpr::Lock, "ORD1") != 1) continue;
      if (++holders != 1) ++clashes;
      ++taken;
      --holders;
      if (StateOf(connection, &CTVLClientOpr::Unlock, "ORD1") != 0) ++clashes;
    }
  };
  std::thread other([&] {
    CTVLClientSmbOpr directory;
    if (store.store.Connect(directory) == 0) contend(directory);
  });
  {
    const TempFolder work;
    CTVLClientTcpOpr client;
    EXPECT_EQ(Connect(client, server, work), 0);
    contend(client);
  }
  other.join();
  EXPECT_EQ(clashes, 0);
  EXPECT_GE(taken, kRounds);
}

TEST(ManyClients, TheLibrarysOwnClientIsServed) {
  for (const bool zip : {false, true}) {
    const ServedStore store(zip);
    const ServerProcess server(store);
    const TempFolder work;
    CTVLClientTcpOpr client;
    ASSERT_EQ(Connect(client, server, work), 0);
    work.Write("a.txt", string(100000, 'a') + "end");
    int transferred = 0;
    EXPECT_EQ(client.PutRemote(Arg("docs/a.txt"), Arg("a.txt"), &transferred), 0);
    EXPECT_EQ(transferred, 1);
    EXPECT_EQ(store.Read("docs/a.txt"), work.Read("a.txt"));
    transferred = 0;
    EXPECT_EQ(client.GetRemote(Arg("docs/a.txt"), Arg("b.txt"), &transferred), 0);
    EXPECT_EQ(transferred, 1);
    EXPECT_EQ(work.Read("b.txt"), work.Read("a.txt"));
    transferred = 0;
    EXPECT_EQ(client.GetRemote(Arg("docs/a.txt"), Arg("b.txt"), &transferred), 0);
    EXPECT_EQ(transferred, 0);
  }
}

}  // namespace
