#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include <tvlclient/tcp_opr.h>

#include "presence/connection.h"
#include "server/raw_client.h"
#include "server/server_process.h"
#include "server/threads.h"

namespace {

using std::string;

const RawClient::Names kPc1 = {"mgrx", "pc1", "ann", ""};
const RawClient::Names kPc2 = {"mgrx", "pc2", "bob", ""};

// The state of a lock operation on a connection of the library.
using Operation = int (CTVLClientOpr::*)(char*, int*, char*, int*, int*, char*, char*);

int StateOf(CTVLClientOpr& connection, Operation operation, const char* object, char* computer = nullptr) {
  int state = -1;
  if ((connection.*operation)(Arg(object), &state, computer, nullptr, nullptr, nullptr, nullptr) != 0)
    return -1;
  return state;
}

TEST(Locks, AreSeenFromTheDirectoryAndTheOtherWayRound) {
  const ServedStore store;
  const ServerProcess server(store);
  CTVLClientSmbOpr directory;
  ASSERT_EQ(store.store.Connect(directory), 0);
  const string here = directory.ComputerName();
  const struct {
    string computer;
    const char* address;
    int state;
  } rows[] = {{here, "127.0.0.1", 2}, {"elsewhere", "127.0.0.1", 3}, {here, "127.0.0.2", 3}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.computer + " " + row.address);
    const RawClient client =
        RawClient::Entered(server.Port(), {"mgrx", row.computer, "ann", ""}, row.address);
    const string state = std::to_string(row.state);
    char computer[64] = {};
    ASSERT_EQ(StateOf(directory, &CTVLClientOpr::Lock, "A"), 1);
    EXPECT_TRUE(client.Ask("LA").starts_with(state + "\t" + here + "\t"));
    EXPECT_TRUE(client.Ask("lA").starts_with(state + "\t"));
    EXPECT_EQ(StateOf(directory, &CTVLClientOpr::Unlock, "A"), 0);
    EXPECT_TRUE(client.Ask("LA").starts_with("1\t"));
    EXPECT_EQ(StateOf(directory, &CTVLClientOpr::Lock, "A", computer), row.state);
    EXPECT_EQ(string(computer), row.computer);
    client.Leave();
  }
}

TEST(Locks, PresenceCountsOnBothSides) {
  const ServedStore store;
  const ServerProcess server(store);
  CTVLClientSmbOpr directory;
  ASSERT_EQ(store.store.Connect(directory), 0);
  const auto others = [&] {
    int count = -1;
    CString list;
    EXPECT_EQ(directory.GetProcessesList(Arg("mgrx"), count, list), 0);
    return std::to_string(count) + " " + list.GetString();
  };
  const string here = directory.ComputerName();
  const RawClient client(server.Port());
  client.Send(RawClient::HandshakeBytes({"mgrx", here, "ann", ""}));
  EXPECT_TRUE(
      client.Receive().value_or("").starts_with("TVL\t0\t2\t"));  // the directory's client is the first
  EXPECT_TRUE(others().starts_with("1 " + here + "-7f000001-002.")) << others();
  client.Leave();
  EXPECT_EQ(others(), "0 ");
}

// All rows have the server's process id, and the next client with these names gets the same number.
TEST(Locks, OfAClientThatIsGoneDoNotComeBack) {
  const ServedStore store;
  const ServerProcess server(store);
  const RawClient other = RawClient::Entered(server.Port(), kPc2);
  const char* const objects[] = {"a", "z", "\x7e\x7e\xE9"};
  {
    const RawClient client = RawClient::Entered(server.Port(), kPc1);
    EXPECT_TRUE(client.Ask("La").starts_with("1\t"));
    EXPECT_TRUE(other.Ask("Lm").starts_with("1\t"));
    for (const char* object : objects) EXPECT_TRUE(client.Ask(string("L") + object).starts_with("1\t"));
    client.Leave();
  }
  const RawClient again = RawClient::Entered(server.Port(), kPc1);
  for (const char* object : objects) {
    EXPECT_TRUE(other.Ask(string("L") + object).starts_with("1\tpc2")) << object;
  }
  EXPECT_TRUE(again.Ask("Lm").starts_with("3\tpc2"));
}

// A killed server's rows, and a new one that has its process id, as happens in containers.
TEST(Locks, OfAnEarlierLifeGoWithTheFirstEntrance) {
  const ServedStore store;
  const ServerProcess server(store);
  CConnection earlier(store.store.locks.c_str(), store.store.procs.c_str(), "mgrx", "pc1", "127.0.0.1",
                      "ann");
  earlier.pid = static_cast<unsigned int>(server.Pid());
  earlier.instance = 1;
  ASSERT_EQ(earlier.Lock("a"), 1);
  const RawClient other = RawClient::Entered(server.Port(), kPc2);
  EXPECT_TRUE(other.Ask("Lm").starts_with("1\t"));
  const RawClient client = RawClient::Entered(server.Port(), kPc1);
  EXPECT_TRUE(other.Ask("La").starts_with("1\tpc2"));
}

// Its locks would count for nobody else.
TEST(Locks, AreNotForClientsWithoutPresence) {
  const ServedStore store;
  std::filesystem::remove(store.Path("tmp/procs"));
  store.Write("tmp/procs", "a file where the folder should be");
  const ServerProcess server(store);
  const RawClient absent = RawClient::Entered(server.Port(), kPc1);
  EXPECT_EQ(absent.Ask("La"), "0");
  EXPECT_EQ(absent.Ask("la"), "0");
  std::filesystem::remove(store.Path("tmp/procs"));
  std::filesystem::create_directory(store.Path("tmp/procs"));
  const RawClient client = RawClient::Entered(server.Port(), kPc2);
  EXPECT_TRUE(client.Ask("La").starts_with("1\tpc2"));
  EXPECT_TRUE(absent.Ask("La").starts_with("3\tpc2"));
}

// Each takes the lock until both have had it often enough. Whoever has it makes a file that nobody else may
// have made.
TEST(Locks, AreNeverHeldByADirectoryClientAsWell) {
  constexpr int kTimes = 60;
  const ServedStore store(false, "HASH", TempFolder::Memory());
  const ServerProcess server(store);
  const string witness = store.folder.Host("witness");
  std::atomic<int> satisfied{0};
  std::atomic<int> clashes{0};
  const auto hold = [&](CTVLClientOpr& connection) {
    const int made = open(witness.c_str(), O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (made < 0 || StateOf(connection, &CTVLClientOpr::Lock, "ORD1") != 1) ++clashes;
    close(made);
    if (unlink(witness.c_str()) != 0) ++clashes;
    if (StateOf(connection, &CTVLClientOpr::Unlock, "ORD1") != 0) ++clashes;
  };
  const TempFolder work;
  CTVLClientSmbOpr directory;
  CTVLClientTcpOpr client;
  ASSERT_EQ(store.store.Connect(directory), 0);
  InThreads(2, [&](int i) {
    CTVLClientOpr& connection = i == 0 ? static_cast<CTVLClientOpr&>(directory) : client;
    if (i == 1) {  // it serves the thread that opens it
      EXPECT_EQ(client.Open(Arg(work.Host()), Arg(""), Arg("127.0.0.1"), server.Port(), Arg("mgrx"), Arg("")),
                0);
    }
    for (int taken = 0; satisfied < 2;) {
      if (StateOf(connection, &CTVLClientOpr::Lock, "ORD1") != 1) continue;
      hold(connection);
      if (++taken == kTimes) ++satisfied;
    }
  });
  EXPECT_EQ(clashes, 0);
}

}  // namespace
