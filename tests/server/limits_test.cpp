#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <iterator>
#include <list>
#include <stdexcept>
#include <thread>

#include "server/log/log.h"
#include "server/server_process.h"
#include "server/threads.h"
#include "support/mounted_folder.h"

namespace {

using std::string;

TEST(ServerLimits, DisconnectsClientsWithoutCompletePacket) {
  const ServedStore store;
  const ServerProcess server(store, {"--handshake-timeout", "0.2", "--idle-timeout", "0.3"});
  const RawClient silent(server.Port());
  EXPECT_TRUE(silent.IsEnded());
  const RawClient half(server.Port());
  half.Send("#");
  EXPECT_TRUE(half.IsEnded());
  const RawClient idle = server.Enter();
  EXPECT_EQ(idle.Lock("ORD1"), "1\tpc1");
  EXPECT_TRUE(idle.IsEnded());
  const RawClient dribbling = server.Enter({"pc2"});
  EXPECT_EQ(dribbling.Lock("ORD1"), "1\tpc2");
  dribbling.Send(RawClient::PacketBytes(string(1000, 'L')).substr(0, 4));
  const auto dribble = [&] {
    dribbling.Send("x");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  };
  EXPECT_THROW(for (int sent = 0; sent < 900; ++sent) dribble(), std::runtime_error);
}

// Refused clients send as much as possible while another client connects and works.
TEST(ServerLimits, RefusedFloodDoesNotDisturbOthers) {
  constexpr int kFlooding = 4;
  const ServedStore store;
  store.folder.Write("tags", "good write\n");
  const ServerProcess server(store, {"--tags", store.folder.Host("tags"), "--handshake-timeout", "2"});
  string flood;
  while (flood.size() < 60000) flood += RawClient::PacketBytes("");
  std::atomic<int> ended{0};
  InThreads(kFlooding + 1, [&](int i) {
    if (i == kFlooding) {
      const RawClient client = server.Enter({.tag = "good"});
      for (int asked = 0; asked < 5; ++asked) EXPECT_EQ(client.Put("f", "x"), 0);
      EXPECT_EQ(ended, 0);
      return;
    }
    const RawClient client(server.Port());
    client.Send(RawClient::HandshakeBytes({}));
    EXPECT_THROW(for (;;) client.Send(flood), std::runtime_error);  // until its time is over
    ++ended;
  });
}

// Neither connections that never identify themselves, nor those from an address that is not admitted.
TEST(ServerLimits, SilentConnectionsDoNotBlockOthers) {
  const ServedStore store;
  const ServerProcess server(
      store, {"--max-clients", "2", "--max-clients-per-address", "1", "--allow", "127.0.0.0/30"});
  std::vector<RawClient> silent;
  for (int i = 0; i < 150; ++i) silent.emplace_back(server.Port(), i % 2 == 0 ? "127.0.0.1" : "127.0.0.9");
  const RawClient client = server.Enter();
  EXPECT_TRUE(silent.front().IsEnded());  // long before the handshake timeout
  const RawClient refused(server.Port(), "127.0.0.9");
  refused.Send(RawClient::HandshakeBytes({}));
  EXPECT_EQ(refused.Receive(), kServer + "\t10\taddress");
  EXPECT_THROW(server.Enter({"pc2"}), std::runtime_error);
  const RawClient second = server.Enter({"pc2"}, "127.0.0.2");
}

// Writes more lines than fit into a pipe and the queue.
TEST(ServerLimits, UnreadLogDoesNotBlockClients) {
  const ServedStore store;
  store.Write("f", "x");
  ASSERT_EQ(mkfifo(store.folder.Host("fifo").c_str(), 0600), 0);
  const tvl::Descriptor unread(open(store.folder.Host("fifo").c_str(), O_RDWR | O_CLOEXEC));
  ServerProcess server(store, {"--log", store.folder.Host("fifo")});
  for (int entered = 0; entered < 12; ++entered) {
    const RawClient client = server.Enter();
    for (int i = 0; i < 900; ++i) ASSERT_EQ(client.Get("f").bytes, "x");
    client.Leave();
  }
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 0);
}

TEST(ServerLimits, DisconnectsClientThatReadsNothing) {
  const ServedStore store;
  store.WriteZeros("big", 100'000'000);
  const ServerProcess server(store, {"--send-timeout", "0.2"});
  const RawClient client = server.Enter();
  client.AskAheadFor("big");
  EXPECT_TRUE(server.WaitForLog("out of time"));
}

TEST(ServerLimits, ClientsAreLimitedByOpenFiles) {
  const ServedStore store;
  const ServerProcess server(store, {}, "ulimit -n 168");
  EXPECT_TRUE(server.WaitForLog("limit of open files is enough for 2 clients"));
  const RawClient first = server.Enter();
  const RawClient second = server.Enter();
  EXPECT_THROW(server.Enter(), std::runtime_error);
}

// Uses files that take minutes to hash, and more clients than threads.
TEST(ServerLimits, HashingDoesNotDelayOthers) {
  const ServedStore store;
  store.WriteZeros("huge", std::uintmax_t{1} << 38U);
  ServerProcess server(store);
  std::vector<RawClient> clients;
  for (int i = 0; i < 8; ++i) {
    clients.push_back(server.Enter());
    clients.back().SendPacket((i % 2 == 0 ? "Ghuge\t4000000000|" : "Phuge\t4000000000|") + string(40, '0'));
  }
  const RawClient client = server.Enter();
  EXPECT_EQ(client.Put("f", "x"), 0);
  EXPECT_EQ(client.Get("f").bytes, "x");
  EXPECT_EQ(client.Ask("Gf\t1|11f6ad8ec52a2984abaafd7c3b516503785c2072"), "19");
  EXPECT_EQ(server.Log().find("huge"), string::npos);
  clients.clear();
  EXPECT_TRUE(server.WaitForLog("ended while a file was hashed"));
  const RawClient last = server.Enter();
  last.SendPacket("Ghuge\t4000000000|" + string(40, '0'));
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 0);
}

TEST(ServerLimits, RefusesPutsAndLocksBeforeDiskIsFull) {
  TempFolder folder;
  const MountedFolder disk(folder.Host("disk"), "size=16m");
  if (!disk.IsMounted()) GTEST_SKIP() << "no disk can be mounted";
  const ServedStore store(false, "HASH", disk.Path());
  const ServerProcess server(store, {"--min-free", "25%", "--max-locks-per-client", "2"});
  const RawClient client = server.Enter();
  EXPECT_EQ(client.Put("large", string(15'000'000, 'x')), 22);
  EXPECT_EQ(client.Put("small", string(4'000'000, 'x')), 0);
  disk.FillUp(3'000'000);
  EXPECT_EQ(client.Put("small", "x"), 22);
  EXPECT_EQ(store.Files(), std::vector<string>{"small"});
  for (const char* object : {"a", "b", "b"}) EXPECT_EQ(client.Lock(object), "1\tpc1") << object;
  EXPECT_EQ(client.Ask("Lc"), "0");
  EXPECT_EQ(client.Ask("la"), "0");
  EXPECT_EQ(client.Lock("c"), "1\tpc1");
  disk.FillUp(0);
  EXPECT_EQ(client.Lock("c"), "1\tpc1");
  EXPECT_EQ(client.Ask("lc").substr(0, 5), "1\tpc1");  // it could not be deleted
  EXPECT_EQ(client.Ask("lb").substr(0, 5), "1\tpc1");
  disk.FreeUp();
  EXPECT_EQ(client.Ask("lc"), "0");
  EXPECT_EQ(server.Enter({"pc2"}).Lock("c"), "1\tpc2");
}

TEST(ServerLimits, ServesTwoHundredClients) {
  constexpr int kClients = 200;
  const ServedStore store;
  const ServerProcess server(store);
  std::atomic<int> right{0};
  std::atomic<int> owners{0};
  // One after the other, because the server closes a connection if too many others begin after it.
  std::list<RawClient> clients;
  for (int i = 0; i < kClients; ++i) clients.push_back(server.Enter({"pc" + std::to_string(i % 7)}));
  InThreads(kClients, [&](int i) {
    const RawClient& client = *std::next(clients.begin(), i);
    const string name = "folder" + std::to_string(i % 10) + "/" + std::to_string(i);
    const string bytes(1000 * static_cast<std::size_t>(i) + 1, static_cast<char>(i));
    const bool stored = client.Put(name, bytes) == 0;
    const bool fetched = client.Get(name).bytes == bytes;
    const bool locked = client.Ask("L" + name).starts_with("1\t");
    if (client.Ask("Lshared").starts_with("1\t")) ++owners;
    const bool unlocked = client.Ask("l" + name) == "0";
    const bool replaced = client.Put("contended", bytes) == 0;
    client.Leave();
    if (stored && fetched && locked && unlocked && replaced) ++right;
  });
  EXPECT_EQ(right, kClients);
  EXPECT_GE(owners, 1);
  const string contended = store.Read("contended");
  EXPECT_EQ(contended, string(contended.size(), contended[0]));
  EXPECT_EQ(store.Files().size(), kClients + 10U + 1U);
  EXPECT_TRUE(store.store.Markers().empty());
}

TEST(ServerLimits, SlowClientsDoNotDelayOthers) {
  const ServedStore store;
  store.WriteZeros("big", 100'000'000);
  store.Write("small", "small");
  const ServerProcess server(store);
  std::vector<RawClient> slow;
  for (int i = 0; i < 20; ++i) {
    slow.push_back(server.Enter());
    slow.back().AskAheadFor("big");
    slow.emplace_back(server.Port()).Send("#");  // and one that does not identify itself
  }
  const RawClient client = server.Enter();
  const auto began = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(client.Get("small").bytes, "small");
    ASSERT_TRUE(client.Ask("LORD1").starts_with("1\t"));
    ASSERT_EQ(client.Ask("lORD1"), "0");
  }
  // The first of the slow clients would be disconnected after a minute.
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(30));
}

TEST(ServerLog, ClientsCannotForgeLinesOrFields) {
  using tvl::server::JsonLine;
  using tvl::server::TextLine;
  const tvl::server::Event event = {.what = "get",
                                    .client = "192.0.2.1:5",
                                    .who = "pc end/ann\" get \"x\"/tvlc#1",
                                    .request = 3,
                                    .name = "a\n\x1b[2J\xC2\x85\xC3\x84\xE2\x80\xAE\\\x7F",
                                    .code = 0,
                                    .bytes = 7,
                                    .duration = std::chrono::microseconds(1500),
                                    .note = "note"};
  const tvl::server::LogTime time(std::chrono::milliseconds(1'700'000'000'123));
  EXPECT_EQ(TextLine(time, event),
            "2023-11-14T22:13:20.123Z 192.0.2.1:5 \"pc end/ann\\\" get \\\"x\\\"/tvlc#1\" get "
            "\"a\\u000a\\u001b[2J\\u0085\xC3\x84\\u202e\\\\\\u007f\" "
            "request=3 code=0 bytes=7 seconds=0.001500 note\n");
  EXPECT_EQ(JsonLine(time, event),
            "{\"time\":\"2023-11-14T22:13:20.123Z\",\"level\":\"info\",\"client\":\"192.0.2.1:5\","
            "\"who\":\"pc end/ann\\\" get \\\"x\\\"/tvlc#1\",\"what\":\"get\","
            "\"name\":\"a\\u000a\\u001b[2J\\u0085\xC3\x84\\u202e\\\\\\u007f\",\"request\":3,"
            "\"code\":0,\"bytes\":7,\"seconds\":0.001500,\"note\":\"note\"}\n");
  const tvl::server::Event latin = {
      .what = "get", .level = tvl::server::Level::kError, .name = "\xE4\x9b\xFF"};
  EXPECT_EQ(TextLine(time, latin), "2023-11-14T22:13:20.123Z - error: get \"\\xe4\\x9b\\xff\"\n");
  EXPECT_EQ(JsonLine(time, latin),
            "{\"time\":\"2023-11-14T22:13:20.123Z\",\"level\":\"error\",\"what\":\"get\","
            "\"name_hex\":\"e49bff\"}\n");
}

TEST(Ping, FindsOutWhetherAServerServes) {
  const ServedStore store;
  ServerProcess server(store);
  const ProcessStart ping = {
      {TVL_PROGRAM, "--tcp", "127.0.0.1:" + std::to_string(server.Port()), "--timeout", "1", "ping"}};
  const ProcessResult alive = RunProcess(ping);
  EXPECT_EQ(alive.exit, 0);
  EXPECT_NE(alive.out.find(": version " TVL_VERSION ", connected in "), std::string::npos) << alive.out;
  for (const int signal : {SIGSTOP, SIGKILL}) {
    server.Signal(signal);
    if (signal == SIGKILL) server.Wait();
    EXPECT_EQ(RunProcess(ping).exit, 5) << signal;
  }
}

}  // namespace
