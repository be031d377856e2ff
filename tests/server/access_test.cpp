#include "server/access.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "server/raw_client.h"
#include "server/server_process.h"

namespace {

using std::string;
using tvl::server::AllowedAddresses;
using tvl::server::Right;
using tvl::server::Tags;

TEST(Access, IsByNetwork) {
  const struct {
    std::vector<string> networks;
    string address;
    bool allowed;
  } rows[] = {
      {{}, "203.0.113.9", true},
      {{"10.0.0.0/8"}, "10.255.0.1", true},
      {{"10.0.0.0/8"}, "11.0.0.1", false},
      {{"10.1.2.3/8"}, "10.9.9.9", true},  // the bits behind the network's don't count
      {{"192.168.1.7"}, "192.168.1.7", true},
      {{"192.168.1.7"}, "192.168.1.8", false},
      {{"192.168.1.7", "10.0.0.0/8"}, "10.0.0.1", true},
      {{"0.0.0.0/0"}, "198.51.100.1", true},
      {{"0.0.0.0/0"}, "2001:db8::1", false},
      {{"10.0.0.0/8"}, "::ffff:10.0.0.1", true},
      {{"2001:db8::/32"}, "2001:db8:1::1", true},
      {{"2001:db8::/32"}, "2001:db9::1", false},
      {{"2001:db8::/32"}, "10.0.0.1", false},
      {{"fe80::/10"}, "fe80::1%1", true},
  };
  for (const auto& row : rows) {
    AllowedAddresses allowed;
    for (const string& network : row.networks) allowed.Add(network);
    EXPECT_EQ(allowed.Allows(asio::ip::make_address(row.address)), row.allowed) << row.address;
  }
  for (const char* wrong : {"", "10.0.0", "10.0.0.0/33", "here", "10.0.0.0/", "::/129"}) {
    EXPECT_THROW(AllowedAddresses().Add(wrong), std::runtime_error) << wrong;
  }
}

TEST(Access, IsByTag) {
  const TempFolder folder;
  folder.Write("tags",
               "# who may what\n\nreader read\n  two words\twrite \r\nboth read\nboth write\nread write\n");
  const Tags tags(folder.Host("tags"));
  const struct {
    string tag;
    Right right;
  } rows[] = {{"reader", Right::kRead},   {"two words", Right::kWrite},
              {"both", Right::kWrite},    {"read", Right::kWrite},
              {"", Right::kNone},         {"reade", Right::kNone},
              {"readerr", Right::kNone},  {"readerreader", Right::kNone},
              {"# who may", Right::kNone}};
  for (const auto& row : rows) EXPECT_EQ(tags.RightOf(row.tag), row.right) << row.tag;
  EXPECT_EQ(Tags().RightOf("anybody"), Right::kWrite);
  for (const char* wrong : {"tag\n", "tag reads\n", "tag read write it\n"}) {
    folder.Write("wrong", wrong);
    EXPECT_THROW(Tags(folder.Host("wrong")), std::runtime_error) << wrong;
  }
  EXPECT_THROW(Tags(folder.Host("missing")), std::runtime_error);
}

// What a refused client sees: the code, and then the connection stays until the client ends it.
void ExpectRefused(unsigned short port, const string& tag) {
  const RawClient client(port);
  client.Send(RawClient::HandshakeBytes({.tag = tag}) + RawClient::PacketBytes("Gahead\t@"));
  EXPECT_EQ(client.Receive().value_or(""), "TVL\t10");
  client.SendPacket("Gmore\t@");
  client.SendPacket("X");
  EXPECT_TRUE(client.IsEnded());
}

TEST(Access, RefusesOnAServer) {
  const ServedStore store;
  store.Write("a.txt", "Hello");
  store.folder.Write("tags", "reads read\nwrites write\n");
  const ServerProcess server(store, {"--tags", store.folder.Host("tags"), "--max-clients", "2"});
  ExpectRefused(server.Port(), "");
  const RawClient reader = RawClient::Entered(server.Port(), {.tag = "reads"});
  EXPECT_EQ(reader.Get("a.txt").bytes, "Hello");
  EXPECT_EQ(reader.Put("b.txt", "x"), 20);
  EXPECT_EQ(reader.Lock("ORD1"), "1\tpc1");
  const RawClient writer = RawClient::Entered(server.Port(), {.tag = "writes"});
  EXPECT_EQ(writer.Put("b.txt", "x"), 0);
  ExpectRefused(server.Port(), "writes");  // the third of two
  EXPECT_EQ(store.Files(), (std::vector<string>{"a.txt", "b.txt"}));
}

}  // namespace
