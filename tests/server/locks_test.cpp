#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>

#include "presence/connection.h"
#include "server/server_process.h"
#include "server/threads.h"
#include "table/ctree_file.h"
#include "table/engine_binding.h"

namespace {

using std::string;

// Runs a lock operation on a directory connection and returns its result.
using Operation = int (CTVLClientOpr::*)(char*, int*, char*, int*, int*, char*, char*);

int StateOf(CTVLClientOpr& directory, Operation operation, const char* object, char* computer = nullptr) {
  int state = -1;
  (directory.*operation)(Arg(object), &state, computer, nullptr, nullptr, nullptr, nullptr);
  return state;
}

class ServerLocks : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(store.store.Connect(directory), 0); }

  const ServedStore store{false, "HASH", TempFolder::Memory()};
  const ServerProcess server{store};
  CTVLClientSmbOpr directory;
};

TEST_F(ServerLocks, AreVisibleInBothDirections) {
  const string here = directory.ComputerName();
  const struct {
    string computer;
    const char* address;
    int state;
  } rows[] = {{here, "127.0.0.1", 2}, {"elsewhere", "127.0.0.1", 3}, {here, "127.0.0.2", 3}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.computer + " " + row.address);
    const RawClient client = server.Enter({row.computer}, row.address);
    const string state = std::to_string(row.state) + "\t" + here;
    char computer[64] = {};
    ASSERT_EQ(StateOf(directory, &CTVLClientOpr::Lock, "A"), 1);
    EXPECT_EQ(client.Lock("A"), state);
    EXPECT_TRUE(client.Ask("lA").starts_with(state + "\t"));
    EXPECT_EQ(StateOf(directory, &CTVLClientOpr::Unlock, "A"), 0);
    EXPECT_EQ(client.Lock("A"), "1\t" + row.computer);
    EXPECT_EQ(StateOf(directory, &CTVLClientOpr::Lock, "A", computer), row.state);
    EXPECT_EQ(string(computer), row.computer);
    client.Leave();
  }
}

TEST_F(ServerLocks, RequirePresenceOnBothSides) {
  const auto others = [&] {
    int count = -1;
    CString list;
    EXPECT_EQ(directory.GetProcessesList(Arg("mgrx"), count, list), 0);
    return std::to_string(count) + " " + list.GetString();
  };
  const string here = directory.ComputerName();
  const RawClient client(server.Port());
  client.Send(RawClient::HandshakeBytes({here}));
  // The client of the directory is the first one.
  EXPECT_TRUE(client.Receive().starts_with(kAccepted + "2\t"));
  EXPECT_TRUE(others().starts_with("1 " + here + "-7f000001-002.")) << others();
  client.Leave();
  EXPECT_EQ(others(), "0 ");
}

// All rows have the process id of the server, and the next client with these names gets the same number.
TEST_F(ServerLocks, OfLostClientDoNotReturn) {
  const RawClient other = server.Enter({"pc2"});
  const char* const objects[] = {"a", "z", "\x7e\x7e\xE9"};
  {
    const RawClient client = server.Enter();
    EXPECT_EQ(client.Lock("a"), "1\tpc1");
    EXPECT_EQ(other.Lock("m"), "1\tpc2");
    for (const char* object : objects) EXPECT_EQ(client.Lock(object), "1\tpc1");
    client.Leave();
  }
  const RawClient again = server.Enter();
  for (const char* object : objects) EXPECT_EQ(other.Lock(object), "1\tpc2") << object;
  EXPECT_EQ(again.Lock("m"), "3\tpc2");
}

// A killed server's rows, and a new one that has its process id, as happens in containers.
TEST_F(ServerLocks, OfEarlierRunAreDeletedAtFirstClient) {
  const Store& files = store.store;
  CConnection earlier(files.locks.c_str(), files.procs.c_str(), "mgrx", "pc1", "127.0.0.1", "ann");
  earlier.pid = static_cast<unsigned int>(server.Pid());
  earlier.instance = 1;
  ASSERT_EQ(earlier.Lock("a"), 1);
  const RawClient other = server.Enter({"pc2"});
  EXPECT_EQ(other.Lock("m"), "1\tpc2");
  const RawClient client = server.Enter();
  EXPECT_EQ(other.Lock("a"), "1\tpc2");
}

// Others would ignore its locks.
TEST(ServerLockClients, RequirePresence) {
  const ServedStore store;
  std::filesystem::remove(store.Path("tmp/procs"));
  store.Write("tmp/procs", "a file where the folder should be");
  const ServerProcess server(store);
  const RawClient absent = server.Enter();
  EXPECT_EQ(absent.Ask("La"), "0");
  EXPECT_EQ(absent.Ask("la"), "0");
  std::filesystem::remove(store.Path("tmp/procs"));
  std::filesystem::create_directory(store.Path("tmp/procs"));
  const RawClient client = server.Enter({"pc2"});
  EXPECT_EQ(client.Lock("a"), "1\tpc2");
  EXPECT_EQ(absent.Lock("a"), "3\tpc2");
}

// Keeps the lock table busy with a transaction, like another process.
class BusyTable {
 public:
  explicit BusyTable(const Store& store)
      : path_(store.root_host + "tmp/locks/dtlocks.dat"), table_((store.locks + "dtlocks.dat").c_str()) {}

  void Begin() {
    batch_.emplace(table_.handle, tvl::TableBatch::Kind::kWrite);
    ASSERT_TRUE(batch_->HasBegun());
  }
  void End() { batch_.reset(); }

  // Returns the number of write transactions so far, from the header of the file.
  [[nodiscard]] unsigned int Transactions() const {
    std::ifstream file(path_);
    file.seekg(24);
    unsigned int count = 0;
    for (int i = 0; i < 4; ++i) count = count << 8U | static_cast<unsigned int>(file.get());
    return count;
  }

 private:
  string path_;
  CCtreeFile table_;
  std::optional<tvl::TableBatch> batch_;
};

TEST_F(ServerLocks, RequestedTogetherShareOneTransaction) {
  constexpr int kClients = 60;
  BusyTable table(store.store);
  std::vector<RawClient> clients;
  for (int i = 0; i < kClients; ++i) clients.push_back(server.Enter({"pc" + std::to_string(i)}));
  for (const char letter : {'L', 'l'}) {
    const unsigned int before = table.Transactions();
    table.Begin();
    for (int i = 0; i < kClients; ++i) clients[i].SendPacket(letter + std::to_string(i / 2));
    table.End();
    // Of two clients that request the same object one gets it, and the other receives its owner.
    string states;
    for (int i = 0; i < kClients; ++i) {
      states += clients[i].Receive()[0];
      if (i % 2 == 0) continue;
      std::sort(states.begin(), states.end());
      EXPECT_TRUE(states == (letter == 'L' ? "13" : "00") || (letter == 'l' && states == "03")) << states;
      states.clear();
    }
    EXPECT_LE(table.Transactions() - before, kClients / 4U) << letter;  // some arrive after the table is free
  }
}

TEST_F(ServerLocks, WaitTogetherForBusyTable) {
  BusyTable table(store.store);
  RawClient holder = server.Enter({"pc1"});
  const RawClient leaving = server.Enter({"pc2"});
  ASSERT_EQ(holder.Lock("a"), "1\tpc1");
  ASSERT_EQ(leaving.Lock("b"), "1\tpc2");
  std::vector<RawClient> clients;
  for (int i = 0; i < 4; ++i) clients.push_back(server.Enter({"pc3"}));
  table.Begin();
  const auto began = std::chrono::steady_clock::now();
  for (const RawClient& client : clients) client.SendPacket("La");
  leaving.Leave();  // it has no presence any more, without the table too
  for (const RawClient& client : clients) EXPECT_EQ(client.Receive(), "0");
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(19));
  table.End();
  EXPECT_EQ(clients[0].Lock("a"), "3\tpc1");
  EXPECT_EQ(clients[0].Lock("b"), "1\tpc3");
}

// Each thread locks until both have had the lock often enough, or it itself very often. The owner creates a
// file that must not exist yet.
TEST_F(ServerLocks, AreNeverHeldTwice) {
  constexpr int kTimes = 60;
  constexpr int kMostTimes = 300;
  const string witness = store.folder.Host("witness");
  const RawClient client = server.Enter();
  std::atomic<int> satisfied{0};
  std::atomic<int> clashes{0};
  InThreads(2, [&](int i) {
    const auto lock = [&] {
      return i == 0 ? client.Lock("A")[0] == '1' : StateOf(directory, &CTVLClientOpr::Lock, "A") == 1;
    };
    const auto unlock = [&] {
      return i == 0 ? client.Ask("lA") == "0" : StateOf(directory, &CTVLClientOpr::Unlock, "A") == 0;
    };
    for (int taken = 0; satisfied < 2 && taken < kMostTimes;) {
      if (!lock()) continue;
      const int made = open(witness.c_str(), O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      if (made < 0 || !lock()) ++clashes;
      close(made);
      if (unlink(witness.c_str()) != 0 || !unlock()) ++clashes;
      if (++taken == kTimes) ++satisfied;
    }
  });
  EXPECT_EQ(clashes, 0);
}

}  // namespace
