#include "tcp/packets.h"

#include <gtest/gtest.h>

#include <string>

#include "tcp/peer.h"
#include "tcp/script.h"

namespace {

using std::string;

// Packets on a connection whose server keeps all that comes, after it has sent its replies.
class Conversation {
 public:
  explicit Conversation(const string& replies = "")
      : server_([this, replies](Peer& peer) {
          peer.Send(replies);
          received_ = peer.ReadRest();
        }) {
    EXPECT_EQ(socket.ConnectHost("127.0.0.1", server_.Port()), 1);
  }

  // All that the server got, with the head's two bytes without a meaning made zero.
  string Received() {
    socket.CloseSocket();
    server_.Join();
    for (std::size_t at = 0; at + 4 <= received_.size();) {
      received_[at] = received_[at + 3] = 0;
      const std::size_t length = tvl::protocol::ReadLength(&received_[at + 1]);
      at += length < 4 ? received_.size() : length;
    }
    return received_;
  }

 private:
  string received_;
  Server server_;

 public:
  CJSock socket;
  int opened = 1;
  tvl::Packets pack{socket, opened};
};

string ClientPacket(const string& payload) {
  Bytes bytes;
  bytes.Add(payload);
  return Packet(bytes, 4).text;
}

TEST(Packets, GrowToTheirLimit) {
  const string longest(32758, 'x');
  Conversation talk;
  EXPECT_EQ(talk.pack.Add2Pack(1, "%c", 'A'), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", "BC"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", longest.substr(3).c_str()), 1);
  EXPECT_EQ(talk.pack.PackSend(), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "dropped"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "first"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", longest.c_str()), 1) << "sends what was there";
  EXPECT_EQ(talk.pack.PackSend(), 1);
  EXPECT_EQ(talk.pack.PackSend(), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "kept"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", string(32759, 'x').c_str()), 0);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", string(100000, 'x').c_str()), 0);
  EXPECT_EQ(talk.pack.PackSend(), 1);
  EXPECT_TRUE(talk.Received() == ClientPacket("ABC" + longest.substr(3)) + ClientPacket("first") +
                                     ClientPacket(longest) + ClientPacket("") + ClientPacket("kept"));
}

TEST(Packets, FailedSendClosesTheConnection) {
  Conversation talk;
  talk.socket.GiveUp();
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "1"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", string(32758, 'x').c_str()), 0);
  EXPECT_EQ(talk.opened, 0);
  EXPECT_EQ(talk.pack.PackSend(), 0);
  EXPECT_EQ(talk.Received(), "");
}

TEST(Packets, ReplyIsSplitAtRunsOfTabs) {
  string many;
  for (int i = 0; i < 40; ++i) many += std::to_string(i) + "\t";
  Conversation talk(Reply("7\t\t\t9") + Reply("\t\ta\t") + Reply(many) + Reply(string("1\t2\0\t3", 6)));
  tvl::Packets& pack = talk.pack;
  const auto next = [&] {
    EXPECT_EQ(pack.PackReceive(), 1);
    pack.Unpack2Toks("\t");
  };
  next();
  EXPECT_STREQ(pack.StringTok(0, ""), "7");
  EXPECT_EQ(pack.NumericTok(1, 0), 9);
  EXPECT_STREQ(pack.StringTok(2, "none"), "none");
  next();
  EXPECT_STREQ(pack.StringTok(0, ""), "a");
  EXPECT_STREQ(pack.StringTok(1, "none"), "none");
  next();
  EXPECT_EQ(pack.NumericTok(30, -1), 30);
  for (const int index : {31, 32, 1000, -1, -1000}) EXPECT_EQ(pack.NumericTok(index, -1), -1) << index;
  next();
  EXPECT_EQ(pack.NumericTok(1, 0), 2);
  EXPECT_EQ(pack.NumericTok(2, -1), -1) << "text ends at a zero";
}

TEST(Packets, NumbersAreNothingElse) {
  constexpr int none = -99;
  const std::pair<const char*, int> fields[] = {{" 12 ", 12},
                                                {"+7", 7},
                                                {"-3", -3},
                                                {"0", 0},
                                                {"007", 7},
                                                {"   -0012   ", -12},
                                                {"12x", none},
                                                {"-", none},
                                                {"+", none},
                                                {"- 7", none},
                                                {"   ", none},
                                                {"1 2", none},
                                                {"--7", none},
                                                {"+-7", none},
                                                {"0x10", none},
                                                {"1.5", none},
                                                {"\n7", none},
                                                {"7\r", none},
                                                {"2147483647", 2147483647},
                                                {"2147483648", 2147483647},
                                                {"-2147483649", -2147483647 - 1},
                                                {"99999999999999999999999", 2147483647}};
  string replies;
  for (const auto& [field, value] : fields) replies += Reply(field);
  Conversation talk(replies);
  for (const auto& [field, value] : fields) {
    ASSERT_EQ(talk.pack.PackReceive(), 1);
    talk.pack.Unpack2Toks("\t");
    EXPECT_EQ(talk.pack.NumericTok(0, none), value) << '"' << field << '"';
  }
}

TEST(Packets, LeadingNumberStopsAtText) {
  const std::pair<const char*, std::int64_t> texts[] = {
      {"19", 19}, {" \t-5 x", -5}, {"20 no such file", 20},    {"", 0},    {"file", 0},
      {"+", 0},   {"+3", 3},       {"4000000000", 4000000000}, {"1e3", 1}, {"-", 0}};
  for (const auto& [text, value] : texts) EXPECT_EQ(tvl::LeadingNumber(text), value) << text;
}

}  // namespace
