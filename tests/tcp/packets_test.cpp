#include "tcp/packets.h"

#include <limits>

#include "support/testing.h"
#include "tcp/peer.h"
#include "tcp/script.h"

namespace {

// Packets on a connection of their own.
struct Talk {
  explicit Talk(Server::Part part) : server(std::move(part)) {
    EXPECT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  }

  Server server;
  CJSock socket;
  int opened = 1;
  tvl::Packets pack{socket, opened};
};

TEST(TcpPackets, GrowToTheirLimit) {
  const string longest(32758, 'x');
  Talk talk([&](Peer& peer) {
    for (const string& packet : {"A" + longest.substr(1), string("first"), longest, string(), string("kept")})
      EXPECT_TRUE(peer.ReadPacket() == packet) << packet.substr(0, 10);
    EXPECT_TRUE(peer.AtEnd());
  });
  EXPECT_EQ(talk.pack.Add2Pack(1, "%c", 'A'), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", longest.substr(1).c_str()), 1);
  EXPECT_EQ(talk.pack.PackSend(), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "dropped"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "first"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", longest.c_str()), 1) << "sends what was there";
  for (int again = 0; again < 2; ++again) EXPECT_EQ(talk.pack.PackSend(), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "kept"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", string(32759, 'x').c_str()), 0);
  EXPECT_EQ(talk.pack.PackSend(), 1);
  talk.socket.Abandon();
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "1"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", longest.c_str()), 0) << "the connection has gone";
  EXPECT_EQ(talk.opened, 0);
}

// A field must be a number only; a leading number ends at other text.
TEST(TcpPackets, FieldsAndNumbers) {
  constexpr int none = -99;
  constexpr int least = std::numeric_limits<int>::min();
  constexpr int most = std::numeric_limits<int>::max();
  const std::tuple<const char*, int, std::int64_t> numbers[] = {
      {" +12 ", 12, 12},
      {"  -0012   ", -12, -12},
      {"1 2\r", none, 1},
      {"+-7", none, 0},
      {"   ", none, 0},
      {"\n7", none, 7},
      {"2147483648", most, 2147483648},
      {"-2147483649", least, -2147483649},
      {"99999999999999999999", most, std::numeric_limits<std::int64_t>::max()}};
  string many;
  for (int i = 0; i < 40; ++i) many += "\t" + std::to_string(i) + "\t";
  Talk talk([&](Peer& peer) {
    for (const auto& number : numbers) peer.Send(Reply(number.text));
    peer.Send(Reply(many));
  });
  for (const auto& [text, field, leading] : numbers) {
    ASSERT_EQ(talk.pack.PackReceive(), 1);
    talk.pack.Unpack2Toks("\t");
    EXPECT_EQ(talk.pack.NumericTok(0, none), field) << '"' << text << '"';
    EXPECT_EQ(tvl::LeadingNumber(text), leading) << '"' << text << '"';
  }
  ASSERT_EQ(talk.pack.PackReceive(), 1);
  talk.pack.Unpack2Toks("\t");
  EXPECT_EQ(talk.pack.NumericTok(30, none), 30) << "the last field that fits";
  for (const int index : {31, 32, 1000, -1}) EXPECT_EQ(talk.pack.NumericTok(index, none), none) << index;
}

}  // namespace
