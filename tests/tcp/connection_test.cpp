#include "tcp/connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/faults.h"
#include "tcp/peer.h"
#include "tcp/script.h"
#include "tcp/system.h"
#include "transfer/zlib_file.h"

// What the case files can't say.

namespace {

using std::string;

// How the last put went, as the state of a lock.
constexpr int kNoPut = 0;
constexpr int kWholePut = 1;
constexpr int kOtherPut = 2;  // ended in order, with other bytes than the file's
constexpr int kBrokenPut = 3;

// A server of one file, by any name. `file` is what travels.
class FileServer {
 public:
  FileServer(bool zip, string file) : zip_(zip), file_(std::move(file)) {}

  void operator()(Peer& peer) {
    peer.Welcome(zip_ ? 1 : 0);
    string asked = peer.ReadPacket();
    while (asked != "X") {
      const char letter = asked.at(0);
      if (letter == 'G') Send(peer);
      if (letter == 'P') {
        asked = Take(peer);
        continue;
      }
      if (letter == 'L') peer.Send(Reply(std::to_string(std::exchange(put_, kNoPut))));
      ASSERT_TRUE(letter == 'G' || letter == 'L') << asked;
      asked = peer.ReadPacket();
    }
  }

 private:
  void Send(const Peer& peer) const {
    constexpr std::size_t chunk = 20000;
    peer.Send(FirstChunk(file_.substr(0, chunk)));
    for (std::size_t at = chunk;; at += chunk) {
      const string answer = peer.ReadPacket();
      if (answer == "21") return;
      EXPECT_EQ(answer, "0");
      peer.Send(NextChunk(file_.substr(std::min(at, file_.size()), chunk), "1234567890"));
      if (at >= file_.size()) return;
    }
  }

  // The next command, which ends a put as well.
  string Take(const Peer& peer) {
    string bytes;
    put_ = kBrokenPut;
    peer.Send(Reply("0"));
    string packet = peer.ReadPacket();
    for (; packet[0] == '0'; packet = peer.ReadPacket()) {
      bytes += packet.substr(1);
      if (packet == "0") put_ = bytes == file_ ? kWholePut : kOtherPut;
      peer.Send(Reply("0"));
    }
    return packet;
  }

  bool zip_;
  string file_;
  int put_ = kNoPut;
};

// More than a packet of bytes, also when packed.
string Contents() {
  std::mt19937 random(7);
  string bytes(50000, 0);
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

string Packed(const string& contents) {
  const TempFolder folder;
  folder.Write("file", contents);
  CCore block;
  EXPECT_EQ(CZlib().CompressFile(folder.Logical("file").c_str(), block), 1);
  return {reinterpret_cast<char*>(block.data), block.length};
}

// Transfers a file again and again, in each turn with a fault one call later. The codes that came.
std::set<int> RunWithFaults(Connection& client, bool put, const string& contents) {
  std::set<int> codes;
  bool struck = true;
  for (int at = 1; struck; ++at) {
    client.folder.Write("work/a", put ? contents : "old");
    client.transferred = 7;
    int code = 0;
    {
      const Faults faults(at, EIO);
      code = put ? client.Put("a", "a") : client.Get("a", "a");
      struck = Faults::Hit() != nullptr;
    }
    codes.insert(code);
    const string what = (put ? "put, call " : "get, call ") + std::to_string(at);
    EXPECT_EQ(client.transferred, code == TVL_OK ? 1 : 7) << what;
    const int state = client.LockState("A");
    if (code == TVL_OK) {
      EXPECT_EQ(state, put ? kWholePut : kNoPut) << what;
      EXPECT_TRUE(client.folder.Read("work/a") == contents) << what;
    } else {
      EXPECT_TRUE(state == kNoPut || (put && state == kBrokenPut)) << what << ": " << state;
    }
  }
  return codes;
}

// The exchange goes to its end or is broken off, and half a file passes for a whole one on neither side.
TEST(TcpConnection, LocalFaultsEndInACode) {
  const string contents = Contents();
  for (const bool zip : {false, true}) {
    Server server(FileServer(zip, zip ? Packed(contents) : contents));
    Connection client;
    ASSERT_EQ(client.Connect(server.Port()), 0);
    std::set<int> codes = {TVL_OK, TVL_ERR_LOCAL_FILE};
    EXPECT_EQ(RunWithFaults(client, true, contents), codes);
    if (zip) codes.insert(TVL_ERR_UNZIP);
    EXPECT_EQ(RunWithFaults(client, false, contents), codes);
  }
}

TEST(TcpConnection, LackOfMemoryEndsInACode) {
  const string contents = Contents();
  Server server(FileServer(true, Packed(contents)));
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  client.folder.Write("work/a", contents);
  Arg name("a");
  int put = 0;
  int get = 0;
  client.transferred = 7;
  {
    const Without memory(Lack::kMemory);
    put = client.PutRemote(name, name, &client.transferred);
    get = client.GetRemote(name, name, &client.transferred);
  }
  EXPECT_EQ(put, TVL_ERR_LOCAL_FILE);
  EXPECT_EQ(get, TVL_ERR_UNZIP);
  EXPECT_EQ(client.transferred, 7);
}

TEST(TcpConnection, RefusedItLeavesNothing) {
  const string end = "end of the stream";
  const struct {
    string reply;
    bool closes;
    int code;
    string last;  // packet of the client
  } refusals[] = {{"S\t10\t5\t1\t2\tshort\tlong", false, 10, "X"},
                  {"S", false, 1, "X"},
                  {"S\tno number", false, 1, "X"},
                  {"S\t10", true, 10, end},
                  {"", false, TVL_ERR_TCP_RECEIVE, end}};
  for (const auto& refusal : refusals) {
    Server server([&](Peer& peer) {
      peer.Read(32);
      peer.Send(Reply(refusal.reply));
      if (refusal.closes) peer.HangUp();
      EXPECT_EQ(peer.ReadPacket(), refusal.last) << refusal.reply;
    });
    Connection client;
    EXPECT_EQ(client.Connect(server.Port()), refusal.code) << refusal.reply;
    EXPECT_EQ(client.IsOpened() + client.InstanceId() + client.ZipOnTransfert(), 0);
    EXPECT_EQ(client.FileCmp(), 1);
    EXPECT_EQ(string(client.ShortName()) + client.LongName(), "");
    EXPECT_FALSE(client.folder.Exists("work"));
    EXPECT_EQ(client.Close(), TVL_ERR_NOT_CONNECTED);
  }
}

TEST(TcpConnection, AHandshakeBeyondTheBufferIsNotSent) {
  Server server([](Peer& peer) { EXPECT_EQ(peer.ReadRest(), ""); });
  Connection client;
  EXPECT_EQ(client.Connect(server.Port(), "127.0.0.1", string(41000, 'c')), TVL_ERR_TCP_SEND);
  EXPECT_EQ(client.IsOpened(), 0);
}

TEST(TcpConnection, GoesWithoutNames) {
  Server server([](Peer& peer) {
    EXPECT_EQ(peer.Read(36), string("#\0$\0*00tvlc\0unknown\0Unknown\0longtag\0", 36));
    peer.Send(Reply("S\t0"));
    EXPECT_EQ(peer.ReadPacket(), "X");
  });
  const Without names(Lack::kNames);
  Connection client;
  EXPECT_EQ(client.Connect(server.Port(), "127.0.0.1", "tvlc", "longtag"), 0);
}

TEST(TcpConnection, SignsHostAndPort) {
  std::vector<string> signatures;
  Listener listener;
  for (const char* host : {"127.0.0.1", "127.0.0.1", "several.test"}) {
    std::thread server([&] {
      Peer peer(listener.Accept());
      peer.Welcome();
      peer.ReadRest();
    });
    {
      Connection client;
      EXPECT_EQ(client.Connect(listener.Port(), host), 0);
      signatures.emplace_back(client.ServerID());
    }
    server.join();
  }
  EXPECT_EQ(signatures[0].find_first_not_of("0123456789abcdef"), string::npos);
  EXPECT_EQ(signatures[0].size(), 40U);
  EXPECT_EQ(signatures[0], signatures[1]);
  EXPECT_NE(signatures[0], signatures[2]);
}

TEST(TcpConnection, WithoutAWorkingDirectoryTransfersFail) {
  for (const string& directory : {string(), "/" + string(300, 'd')}) {
    Server server([](Peer& peer) {
      peer.Welcome();
      EXPECT_EQ(peer.ReadPacket(), "LA");
      peer.Send(Reply("1"));
      EXPECT_EQ(peer.ReadPacket(), "X") << "nothing was asked for";
    });
    Connection client;
    ASSERT_EQ(client.Open(Arg(directory), Arg(""), Arg("127.0.0.1"), server.Port(), Arg(""), Arg("")), 0);
    EXPECT_EQ(client.Get("a", "a"), TVL_ERR_LOCAL_FILE);
    EXPECT_EQ(client.Put("a", "a"), TVL_ERR_LOCAL_FILE);
    EXPECT_EQ(client.LockState("A"), 1);
  }
}

TEST(TcpConnection, RefusesNamesBeyondAnyPacket) {
  const string name(40000, 'n');
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "LA");
    peer.Send(Reply("2\tpc\t3\t4\tip\tuser"));
    EXPECT_EQ(peer.ReadPacket(), "X") << "nothing else was asked for";
  });
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  client.folder.Write("work/a", "a");
  EXPECT_EQ(client.Get(name, "a"), TVL_ERR_SERVER_FILE);
  EXPECT_EQ(client.Get("a", name), TVL_ERR_LOCAL_FILE);
  EXPECT_EQ(client.Put(name, "a"), TVL_ERR_SERVER_FILE);
  EXPECT_EQ(client.Put("a", name), TVL_ERR_LOCAL_FILE);
  EXPECT_EQ(client.Lock(Arg("A"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  int numbers[3] = {7, 7, 7};
  char computer[64] = "c";
  char ip[16] = "i";
  char user[65] = "u";
  EXPECT_EQ(client.Unlock(Arg(name), &numbers[0], computer, &numbers[1], &numbers[2], ip, user), 0);
  EXPECT_EQ(numbers[0] + numbers[1] + numbers[2], 0);
  EXPECT_EQ(string(computer) + ip + user, "");
  EXPECT_EQ(client.IsOpened(), 1);
}

TEST(TcpConnection, OpensAgain) {
  const auto part = [](const char* state) {
    return [state](Peer& peer) {
      peer.Welcome();
      EXPECT_EQ(peer.ReadPacket(), "LA");
      peer.Send(Reply(state));
      EXPECT_EQ(peer.ReadPacket(), "X");
      EXPECT_TRUE(peer.AtEnd());
    };
  };
  Server first(part("1"));
  Server second(part("2"));
  Connection client;
  ASSERT_EQ(client.Connect(first.Port()), 0);
  EXPECT_EQ(client.LockState("A"), 1);
  ASSERT_EQ(client.Connect(second.Port()), 0) << "ends the first connection";
  first.Join();
  EXPECT_EQ(client.LockState("A"), 2);
  EXPECT_EQ(client.Close(), 0);
  EXPECT_EQ(client.Connect(first.Port(), "nowhere.test"), TVL_ERR_TCP_CONNECT);
  EXPECT_EQ(client.LockState("A"), -TVL_ERR_NOT_CONNECTED);
}

}  // namespace
