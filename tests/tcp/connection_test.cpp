#include "tcp/connection.h"

#include <future>
#include <set>

#include <tvlclient/tvl.h>

#include "support/faults.h"
#include "tcp/peer.h"
#include "tcp/script.h"
#include "tcp/system.h"
#include "transfer/sha1.h"

// Tests that the case files cannot express.

namespace {

// The result of the last put, reported as the state of a lock.
constexpr int kNoPut = 0;
constexpr int kWholePut = 1;
constexpr int kOtherPut = 2;  // completed with wrong contents
constexpr int kBrokenPut = 3;

void SendFile(const Peer& peer, const string& file) {
  constexpr std::size_t chunk = 20000;
  peer.Send(FirstChunk(file.substr(0, chunk)));
  for (std::size_t at = chunk;; at += chunk) {
    const string answer = peer.ReadPacket();
    if (answer == "21") return;
    EXPECT_EQ(answer, "0");
    peer.Send(NextChunk(file.substr(std::min(at, file.size()), chunk), "1234567890"));
    if (at >= file.size()) return;
  }
}

// A server of one file, which is the first one put, with any name.
void ServeFile(Peer& peer, bool zip) {
  peer.Welcome(zip ? 1 : 0);
  string file;
  string bytes;
  int put = kNoPut;
  for (string asked = peer.ReadPacket(); asked != "X"; asked = peer.ReadPacket()) {
    const char letter = asked.at(0);
    ASSERT_NE(string("GPL0").find(letter), string::npos) << asked;
    if (letter == 'G') SendFile(peer, file);
    if (letter == 'L') peer.Send(Reply(std::to_string(std::exchange(put, kNoPut))));
    if (letter == 'P') {
      put = kBrokenPut;
      bytes.clear();
    }
    if (letter == '0') bytes += asked.substr(1);
    if (asked == "0" && file.empty()) file = bytes;
    if (asked == "0") put = bytes == file ? kWholePut : kOtherPut;
    if (letter == 'P' || letter == '0') peer.Send(Reply("0"));
  }
}

// Transfers a file repeatedly, each time with a fault one call later. Returns the codes.
std::set<int> RunWithFaults(Connection& client, bool put, const string& contents) {
  std::set<int> codes;
  int at = 0;
  do {
    client.folder.Write("work/a", put ? contents : "old");
    client.transferred = 7;
    const int code = WithFault(++at, EIO, [&] { return put ? client.Put("a", "a") : client.Get("a", "a"); });
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
  } while (Faults::Hit() != nullptr);
  return codes;
}

// The exchange is completed or interrupted, and neither side takes an incomplete file as complete.
TEST(TcpConnection, LocalFaultsReturnCode) {
  const string contents = Noise(50000);
  for (const bool zip : {false, true}) {
    Server server([=](Peer& peer) { ServeFile(peer, zip); });
    Connection client(server);
    client.folder.Write("work/a", contents);
    ASSERT_EQ(client.Put("a", "a"), TVL_OK);
    ASSERT_EQ(client.LockState("A"), kWholePut);
    std::set<int> codes = {TVL_OK};
    if (kHasFaults) codes.insert(TVL_ERR_LOCAL_FILE);
    EXPECT_EQ(RunWithFaults(client, true, contents), codes);
    if (kHasFaults && zip) codes.insert(TVL_ERR_UNZIP);
    EXPECT_EQ(RunWithFaults(client, false, contents), codes);
    if (!zip) continue;
    Arg name("a");
    client.transferred = 7;
    lacks_memory = true;
    const int put = client.PutRemote(name, name, &client.transferred);
    const int get = client.GetRemote(name, name, &client.transferred);
    lacks_memory = false;
    EXPECT_EQ((Codes{put, get, client.transferred}), (Codes{TVL_ERR_LOCAL_FILE, TVL_ERR_LOCAL_FILE, 7}));
  }
}

TEST(TcpConnection, LeavesNothingIfRefused) {
  const string end = "end of the stream";
  const struct {
    string client_class;
    string reply;
    int code;
    string last;  // packet of the client
  } refusals[] = {{"", "S\t10\t5\t1\t2\tshort\tlong", 10, "X"},
                  {"", "S", 1, "X"},
                  {"", "", TVL_ERR_TCP_RECEIVE, end},
                  {string(41000, 'c'), "not asked for", TVL_ERR_TCP_SEND, end}};
  for (const auto& refusal : refusals) {
    Server server([&](Peer& peer) {
      peer.Read(32);
      peer.Send(Reply(refusal.reply));
      EXPECT_EQ(peer.ReadPacket(), refusal.last) << refusal.reply;
    });
    Connection client;
    EXPECT_EQ(client.Connect(server.Port(), "127.0.0.1", refusal.client_class), refusal.code)
        << refusal.reply;
    EXPECT_EQ((Codes{client.IsOpened(), client.InstanceId(), client.ZipOnTransfert()}), Codes(3));
    EXPECT_EQ(client.FileCmp(), 1);
    EXPECT_EQ(string(client.ShortName()) + client.LongName(), "");
    EXPECT_FALSE(client.folder.Exists("work"));
    EXPECT_EQ(client.Close(), TVL_ERR_NOT_CONNECTED);
  }
}

class Window : public testing::Test {
 protected:
  Window() { TVLSetTransferWindow(8); }
  ~Window() override { TVLSetTransferWindow(0); }
};

TEST_F(Window, IsGivenUpWhereTheAnnouncementIsRefused) {
  const string announcement("window=8\0", 9);
  const std::pair<const char*, int> rows[] = {
      {nullptr, TVL_OK}, {"S\t10", TVL_OK}, {"S", TVL_OK}, {"S\t10\ttag", TVL_ERR_TCP_CONNECT}};
  for (const auto& [reply, code] : rows) {
    const Server::Part refuses = [&](Peer& peer) {
      const string handshake = peer.Read(32);
      EXPECT_NE(handshake.find(announcement), string::npos);
      if (reply != nullptr) peer.Send(Reply(reply));
    };
    const Server::Part accepts = [&](Peer& peer) {
      const string handshake = peer.Read(32);
      EXPECT_EQ(handshake.find("window"), string::npos);
      peer.Send(Reply("S\t0"));
      EXPECT_EQ(peer.ReadPacket(), "X");
    };
    Server server({refuses, accepts});
    Connection client;
    EXPECT_EQ(client.Connect(server.Port()), code) << (reply != nullptr ? reply : "none");
    EXPECT_STREQ(client.Refusal(), code == TVL_OK ? nullptr : "tag");
  }
}

// A window that the server has not granted is none.
TEST_F(Window, ThatIsGrantedIsNotExceeded) {
  for (const int window : {0, 2, 8, 9}) {
    Server server([=](Peer& peer) {
      peer.Welcome(0, 1, window);
      EXPECT_EQ(peer.ReadPacket(), "Pa\t@");
      peer.Send(Reply("0"));
      for (int sent = 0; sent <= std::min(window, 8); ++sent) EXPECT_EQ(peer.ReadPacket().size(), 32761U);
      peer.EndSending();
      EXPECT_TRUE(peer.AtEnd()) << window;
    });
    Connection client(server);
    client.folder.Write("work/a", Noise(600000));
    client.transferred = 1;
    EXPECT_EQ(client.Put("a", "a"), TVL_ERR_TCP_RECEIVE);
  }
}

TEST(TcpConnection, WorksWithoutNames) {
  Server server([](Peer& peer) {
    EXPECT_EQ(peer.Read(36), string("#\0$\0*00tvlc\0unknown\0Unknown\0longtag\0", 36));
    peer.Send(Reply("S\t0"));
    EXPECT_EQ(peer.ReadPacket(), "X");
  });
  Connection client;
  lacks_names = true;
  EXPECT_EQ(client.Connect(server.Port(), "127.0.0.1", "tvlc", "longtag"), 0);
  lacks_names = false;
}

TEST(TcpConnection, TransfersFailWithoutWorkingDirectory) {
  for (const string& directory : {string(), "/" + string(300, 'd')}) {
    Server server(AnswersLocks({"1"}));
    Connection client;
    ASSERT_EQ(client.Open(Arg(directory), Arg(""), Arg("127.0.0.1"), server.Port(), Arg(""), Arg("")), 0);
    EXPECT_EQ((Codes{client.Get("a", "a"), client.Put("a", "a"), client.LockState("A")}),
              (Codes{TVL_ERR_LOCAL_FILE, TVL_ERR_LOCAL_FILE, 1}));
  }
}

TEST(TcpConnection, RefusesNamesTooLongForPacket) {
  const string name(40000, 'n');
  Server server(AnswersLocks({"2\tpc\t3\t4\tip\tuser"}));
  Connection client(server);
  client.folder.Write("work/a", "a");
  EXPECT_EQ(
      (Codes{client.Get(name, "a"), client.Get("a", name), client.Put(name, "a"), client.Put("a", name)}),
      (Codes{TVL_ERR_SERVER_FILE, TVL_ERR_LOCAL_FILE, TVL_ERR_SERVER_FILE, TVL_ERR_LOCAL_FILE}));
  EXPECT_EQ(client.Lock(Arg("A"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  client.computer[0] = client.ip[0] = client.user[0] = '?';
  EXPECT_EQ(client.LockOrUnlock(false, name), 0) << "not that of the last reply";
  EXPECT_EQ((Codes{client.lock_state, client.instance, client.pid}), Codes(3));
  EXPECT_EQ(string(client.computer.data()) + client.ip.data() + client.user.data(), "");
  EXPECT_EQ(client.IsOpened(), 1);
}

TEST(TcpConnection, CanBeReopened) {
  Server first(AnswersLocks({"1"}));
  Server second(AnswersLocks({"2"}));
  Connection client(first);
  EXPECT_EQ(client.LockState("A"), 1);
  ASSERT_EQ(client.Connect(second.Port(), "several.test"), 0) << "ends the first connection";
  first.Join();
  EXPECT_EQ(client.LockState("A"), 2);
  char signature[41] = {};
  Sha1OfString(("TCP-several.test-" + std::to_string(second.Port())).c_str(), signature);
  EXPECT_STREQ(client.ServerID(), signature);
  EXPECT_EQ(client.Close(), 0);
  EXPECT_EQ(client.Connect(first.Port(), "nowhere.test"), TVL_ERR_TCP_CONNECT);
  EXPECT_EQ(client.LockState("A"), -TVL_ERR_NOT_CONNECTED);
}

TEST(TcpConnection, HoldsLockWhileAliveAndLastAnswerWasOne) {
  std::promise<void> hang_up;
  std::promise<void> gone;
  Server server([&](Peer& peer) {
    peer.Welcome();
    for (const char* state : {"2", "1", "0", "1"}) {
      peer.ReadPacket();
      peer.Send(Reply(state));
    }
    hang_up.get_future().wait();
    if (kSeesEndWithUnreadBytes) peer.Send("left over");
    peer.HangUp();
    gone.set_value();
  });
  Connection client(server);
  for (const int state : {2, 1, 0, 1}) {
    EXPECT_EQ(client.LockState("A "), state);
    EXPECT_EQ(client.HoldsLock("A"), state == 1 ? 1 : 0);
    EXPECT_EQ((Codes{client.HoldsLock("B"), client.IsPresent()}), (Codes{0, 1}));
  }
  hang_up.set_value();
  gone.get_future().wait();
  EXPECT_EQ((Codes{client.IsPresent(), client.HoldsLock("A")}), Codes(2));
}

// Unsupported operations return code 1, send nothing and change nothing, except that they clear counts and
// lists.
TEST(TcpConnection, RefusesUnsupportedOperations) {
  Server server(AnswersLocks({}));
  Connection opr(server);
  CTVLClientOpr& base = opr;
  Arg a("a");
  Arg b("b");
  const auto none = SYNC_DIR_FILE_EXCLUDE_NONE;
  int number = 7;
  unsigned int total = 7;
  CString text = "text";
  const auto list = [](auto... codes) { return std::vector<int>{codes...}; };
  const std::vector<int> results =
      list(base.Open(a, b, a), base.CopyRemoteFile2Dir(a, b), base.ExistsRemote(a),
           base.GetRemoteDirContent(a, b, &number, text), base.CreateServerDir(a), base.DeleteServerDir(a),
           base.DeleteServerFile(a), base.RenameServerFile(a, b), base.CopyServer2Server(a, b, 1),
           base.CopyServerDir2ServerDir(a, b, nullptr, nullptr),
           base.CopyRemoteDir2LocalDir(a, b, nullptr, nullptr),
           base.CopyLocalDir2RemoteDir(a, b, nullptr, nullptr), base.CopyLocalFile2RemoteFile(a, b),
           base.SyncDirOpenGetRemote(a, b, a, none, &total), base.SyncDirOpenPutRemote(a, b, a, none, &total),
           base.SyncDirSyncronize(nullptr, nullptr), base.CTFileInit(a, number, 1, 1, 1),
           base.CTFileOpen(a, number, number, number, number), base.CTFileClose(1),
           base.CTFileRead(1, 0, number, a, 1, nullptr), base.CTFileWrite(1, 0, 1, nullptr),
           base.CTFileDelete(1, 0, a), base.GetEnviron("a", "b", text), base.PutEnviron("a", "b"));
  EXPECT_EQ(results, std::vector<int>(24, 1));
  EXPECT_EQ(number, 7);
  EXPECT_EQ(total, 7U);
  EXPECT_STREQ(text, "text");
  EXPECT_EQ(base.GetProcessesList(a, number, text), 1);
  EXPECT_EQ((Codes{number, text.GetLength()}), Codes(2));
  number = 7;
  text = "text";
  EXPECT_EQ(base.GetUpdatePacks(a, number, text), 1);
  EXPECT_EQ((Codes{number, text.GetLength()}), Codes(2));
  EXPECT_EQ(base.DocumentRoot(), nullptr);
  EXPECT_EQ(opr.VersionNumber(nullptr, nullptr), 0U);
  for (const char* field : {opr.ComputerName(), opr.User(), opr.UpdateDir(), opr.VersionFile()})
    EXPECT_STREQ(field, "");
}

}  // namespace
