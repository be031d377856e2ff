#include "tcp/connection.h"
#include "tcp/peer.h"
#include "tcp/script.h"

// Servers that violate the protocol: every operation returns a code.

namespace {

string Welcome(bool zip) {
  return Reply(string("TVL\t0\t7\t") + (zip ? "1" : "0") + "\t1\tshort\tlong");
}

// A server for one client that sends only these bytes.
Server::Part Sends(const string& bytes) {
  return [bytes](Peer& peer) {
    peer.Send(bytes);
    peer.EndSending();
    while (!peer.Read(1).empty()) {
    }
  };
}

// The bytes that a server sends for an operation, and the code of the operation if they are cut.
struct Part {
  std::size_t operation;
  string bytes;
  int code;
};

// Returns the parts of open, lock, get and put.
std::vector<Part> Parts(bool zip) {
  const string file = zip ? string("\x78\x9c\x03\0\0\0\0\x01", 8) : "Hello world";
  return {{0, Welcome(zip), TVL_ERR_TCP_RECEIVE},
          {1, Reply("1\tpc\t2\t3\t127.0.0.1\tuser"), TVL_ERR_TCP_RECEIVE},
          {2, FirstChunk(file.substr(0, 5)), TVL_ERR_TCP_RECEIVE},
          {2, NextChunk(file.substr(5)) + NextChunk("", "2000"), TVL_ERR_TCP_SEND},
          {3, Reply("0") + Reply("0") + Reply("0\t3000"), TVL_ERR_TCP_RECEIVE}};
}

// Returns the results of the operations if only so many bytes arrive.
std::vector<int> CodesOfCut(const std::vector<Part>& parts, std::size_t cut) {
  for (const Part& part : parts) {
    if (cut < part.bytes.size()) {
      std::vector<int> codes = {TVL_OK, TVL_ERR_NOT_CONNECTED, TVL_ERR_TCP_SEND, TVL_ERR_TCP_SEND};
      std::fill_n(codes.begin(), part.operation, TVL_OK);
      codes[part.operation] = part.code;
      return codes;
    }
    cut -= part.bytes.size();
  }
  return std::vector<int>(4, TVL_OK);
}

TEST(TcpBadServer, SurvivesReplyCutAtAnyByte) {
  for (const bool zip : {false, true}) {
    const std::vector<Part> parts = Parts(zip);
    string all;
    for (const Part& part : parts) all += part.bytes;
    for (std::size_t cut = 0; cut <= all.size(); ++cut) {
      Server server(Sends(all.substr(0, cut)));
      Connection client;
      client.transferred = 1;
      std::vector<int> codes = {client.Connect(server.Port()), client.LockOrUnlock(true, "A"),
                                client.Get("get", "get")};
      client.folder.Write("work/put", "abc");
      client.transferred = 1;
      codes.push_back(client.Put("put", "put"));
      EXPECT_EQ(codes, CodesOfCut(parts, cut)) << cut;
      const bool get_begun = codes[1] == TVL_OK && codes[2] != TVL_ERR_TCP_RECEIVE;
      EXPECT_EQ(client.folder.Exists("work/get"), get_begun) << cut;
      EXPECT_EQ(client.folder.Read("work/put"), "abc");
    }
  }
}

// Such a reply ends the connection. Instead of the first reply of a get, it leaves the local file unchanged.
TEST(TcpBadServer, SurvivesWrongLengths) {
  const string head("0\0001000\0", 7);
  constexpr std::size_t too_much = 40960;  // a byte more than a packet holds
  const string first_replies[] = {Reply("0"),
                                  Reply(head.substr(0, 2)),
                                  Reply(head.substr(0, 6)),
                                  Reply(head),
                                  Reply(head + '\0'),
                                  Reply(head + '\0' + "\6Hello"),
                                  FirstChunk(string(too_much - head.size() - 2, 'x'))};
  const string chunks[] = {Reply(string(1, 0)), Reply(string(1, 0) + "\3Hi")};
  const auto check = [](const string& replies, int code, const char* left) {
    Server server(Sends(Welcome(false) + replies));
    Connection client(server);
    client.folder.Write("work/a", "abc");
    client.transferred = 7;
    EXPECT_EQ(client.Get("a", "a"), code) << replies.substr(0, 100);
    EXPECT_EQ(client.transferred, 7);
    EXPECT_EQ(client.folder.Read("work/a"), left) << replies.substr(0, 100);
    EXPECT_EQ(client.LockState("A"), -TVL_ERR_TCP_SEND);
  };
  for (const string& reply : first_replies) check(reply, TVL_ERR_TCP_RECEIVE, "abc");
  for (const string& reply : chunks) check(FirstChunk("Hello") + reply, TVL_ERR_TCP_SEND, "Hello");
}

}  // namespace
