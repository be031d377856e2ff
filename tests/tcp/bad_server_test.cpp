#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "tcp/connection.h"
#include "tcp/peer.h"
#include "tcp/script.h"

// Servers that don't keep to the packets: every operation ends with a code.

namespace {

using std::string;

string Welcome(bool zip) {
  return Reply(string("TVL\t0\t7\t") + (zip ? "1" : "0") + "\t1\tshort\tlong");
}

// The server of one client, which sends this and nothing more.
Server::Part Sends(const string& bytes) {
  return [bytes](Peer& peer) {
    peer.Send(bytes);
    peer.EndSending();
    while (!peer.Read(1).empty()) {
    }
  };
}

// What a server sends in the course of open, lock, get and put.
struct Replies {
  explicit Replies(bool zip)
      : file(zip ? string("\x78\x9c\x03\0\0\0\0\x01", 8) : "Hello world"),
        first_of_get(FirstChunk(file.substr(0, 5))),
        of_operation{Welcome(zip), Reply("1\tpc\t2\t3\t127.0.0.1\tuser"),
                     first_of_get + NextChunk(file.substr(5)) + NextChunk("", "2000"),
                     Reply("0") + Reply("0") + Reply("0\t3000")} {}

  // How the operations end when only so much of it all comes.
  [[nodiscard]] std::vector<int> CodesOfCut(std::size_t cut) const {
    std::vector<int> codes;
    bool lost = false;
    for (std::size_t i = 0; i < of_operation.size(); ++i) {
      const bool within_get = i == 2 && cut >= first_of_get.size();
      if (lost) {
        codes.push_back(i == 1 ? TVL_ERR_NOT_CONNECTED : TVL_ERR_TCP_SEND);
      } else if (cut >= of_operation[i].size()) {
        codes.push_back(TVL_OK);
        cut -= of_operation[i].size();
      } else {
        codes.push_back(within_get ? TVL_ERR_TCP_SEND : TVL_ERR_TCP_RECEIVE);
        lost = true;
      }
    }
    return codes;
  }

  string file;
  string first_of_get;
  std::vector<string> of_operation;
};

TEST(BadServer, CutAtEveryByte) {
  for (const bool zip : {false, true}) {
    const Replies replies(zip);
    const string all = std::accumulate(replies.of_operation.begin(), replies.of_operation.end(), string());
    for (std::size_t cut = 0; cut <= all.size(); ++cut) {
      Server server(Sends(all.substr(0, cut)));
      Connection client;
      std::vector<int> codes = {client.Connect(server.Port()), client.LockOrUnlock(true, "A")};
      client.transferred = 1;
      codes.push_back(client.Get("get", "get"));
      client.transferred = 1;
      client.folder.Write("work/put", "abc");
      codes.push_back(client.Put("put", "put"));
      EXPECT_EQ(codes, replies.CodesOfCut(cut)) << cut;
      const bool get_begun = codes[1] == TVL_OK && codes[2] != TVL_ERR_TCP_RECEIVE;
      EXPECT_EQ(client.folder.Exists("work/get"), get_begun) << cut;
      EXPECT_EQ(client.folder.Read("work/put"), "abc");
    }
  }
}

// Such a reply ends the connection. What comes instead of the first reply of a get leaves the local file be.
TEST(BadServer, AnnouncesWhatIsNotThere) {
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
    Connection client;
    ASSERT_EQ(client.Connect(server.Port()), 0);
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
