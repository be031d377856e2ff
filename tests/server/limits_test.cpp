#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <stdexcept>

#include "server/log.h"
#include "server/raw_client.h"
#include "server/server_process.h"
#include "server/threads.h"

namespace {

using std::string;

TEST(Limits, SilenceEndsAClientWhereThereIsOne) {
  const ServedStore store;
  const ServerProcess server(store, {"--handshake-timeout", "0.2", "--idle-timeout", "0.3"});
  const RawClient silent(server.Port());
  EXPECT_TRUE(silent.IsEnded());
  const RawClient half(server.Port());
  half.Send("#");
  EXPECT_TRUE(half.IsEnded());
  const RawClient idle = RawClient::Entered(server.Port());
  EXPECT_TRUE(idle.Ask("LORD1").starts_with("1\t"));
  EXPECT_TRUE(idle.IsEnded());
  EXPECT_TRUE(
      RawClient::Entered(server.Port(), {"mgrx", "pc2", "bob", ""}).Ask("LORD1").starts_with("1\tpc2"));
}

// Bytes are no packets.
TEST(Limits, AByteNowAndThenKeepsNobodyConnected) {
  const ServedStore store;
  const ServerProcess server(store, {"--idle-timeout", "0.3"});
  const RawClient client = RawClient::Entered(server.Port());
  client.Send(RawClient::PacketBytes(string(1000, 'L')).substr(0, 4));
  bool ended = false;
  for (int sent = 0; !ended && sent < 900; ++sent) {
    client.Send("x");
    ended = client.EndsWithin(20);
  }
  EXPECT_TRUE(ended);
}

// They send more than can be taken, and one client comes in and works meanwhile.
TEST(Limits, RefusedClientsThatFloodHinderNobody) {
  constexpr int kFlooding = 4;
  const ServedStore store;
  store.folder.Write("tags", "good write\n");
  const ServerProcess server(store, {"--tags", store.folder.Host("tags"), "--handshake-timeout", "2"});
  string flood;
  while (flood.size() < 60000) flood += RawClient::PacketBytes("");
  std::atomic<int> ended{0};
  InThreads(kFlooding + 1, [&](int i) {
    if (i == kFlooding) {
      const RawClient client = RawClient::Entered(server.Port(), {"mgrx", "pc1", "ann", "good"});
      for (int asked = 0; asked < 5; ++asked) EXPECT_EQ(client.Put("f", "x"), 0);
      EXPECT_EQ(ended, 0);
      return;
    }
    const RawClient client(server.Port());
    client.Send(RawClient::HandshakeBytes({}));
    const auto send_all = [&] {
      for (;;) client.Send(flood);
    };
    EXPECT_THROW(send_all(), std::runtime_error);  // until its time is over
    ++ended;
  });
}

TEST(Limits, AClientThatTakesNothingIsGivenUp) {
  const ServedStore store;
  store.Write("big", "");
  std::filesystem::resize_file(store.Path("big"), 100'000'000);
  ServerProcess server(store, {"--send-timeout", "0.2"});
  const RawClient client = RawClient::Entered(server.Port());
  client.AskAheadFor("big");
  EXPECT_TRUE(server.WaitForLog("out of time"));
}

TEST(Limits, ClientsAreAsManyAsFilesMayBeOpen) {
  const ServedStore store;
  ServerProcess server(store, {"--port-file", store.folder.Host("port")}, 168);
  EXPECT_TRUE(server.HasLogged("open files suffice for 2 clients"));
  const RawClient first = RawClient::Entered(server.Port());
  EXPECT_EQ(store.folder.Read("port"), std::to_string(server.Port()) + "\n");
  const RawClient second = RawClient::Entered(server.Port());
  EXPECT_THROW(RawClient::Entered(server.Port()), std::runtime_error);
}

// Files so long that comparing them goes on as long as the server runs, from more clients than it has
// threads.
TEST(Limits, ClientsThatHaveFilesHashedHinderNobody) {
  const ServedStore store;
  store.Write("huge", "");
  constexpr std::uintmax_t kSize = std::uintmax_t{1} << 38U;
  std::filesystem::resize_file(store.Path("huge"), kSize);
  ServerProcess server(store);
  std::vector<RawClient> clients;
  for (int i = 0; i < 8; ++i) {
    clients.push_back(RawClient::Entered(server.Port()));
    clients.back().SendPacket((i % 2 == 0 ? "Ghuge\t4000000000|" : "Phuge\t4000000000|") + string(40, '0'));
  }
  const RawClient client = RawClient::Entered(server.Port());
  EXPECT_EQ(client.Put("f", "x"), 0);
  EXPECT_EQ(client.Get("f").bytes, "x");
  EXPECT_FALSE(server.HasLogged("huge"));
}

TEST(Log, ClientsForgeNeitherLinesNorFields) {
  using tvl::server::Log;
  const tvl::server::Event event = {.what = "get",
                                    .client = "192.0.2.1:5",
                                    .who = "pc end/ann\" get \"x\"/tvlc#1",
                                    .name = "a\n\x1b[2J\x9b\xC2\x85\xC3\x84\xE2\x80\xA2\\\x7F\xFF",
                                    .code = 0,
                                    .bytes = 7,
                                    .duration = std::chrono::microseconds(1500),
                                    .note = "broken off"};
  EXPECT_EQ(Log::TextLine("now", event),
            "now 192.0.2.1:5 \"pc end/ann\\\" get \\\"x\\\"/tvlc#1\" get "
            "\"a\\u000a\\u001b[2J\\u009b\xC2\\u0085\xC3\x84\xE2\x80\xA2\\\\\\u007f\xFF\" "
            "code=0 bytes=7 seconds=0.001500 broken off\n");
  EXPECT_EQ(
      Log::JsonLine("now", event),
      "{\"time\":\"now\",\"client\":\"192.0.2.1:5\",\"who\":\"pc end/ann\\\" get \\\"x\\\"/tvlc#1\","
      "\"what\":\"get\",\"name\":\"a\\u000a\\u001b[2J\\u009b\\u00c2\\u0085\\u00c3\\u0084\\u00e2\\u0080\\u00a2"
      "\\\\\\u007f\\u00ff\",\"code\":0,\"bytes\":7,\"seconds\":0.001500,\"note\":\"broken off\"}\n");
  EXPECT_EQ(Log::TextLine("now", {.what = "stop"}), "now - stop\n");
}

}  // namespace
