#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tcp/connection.h"
#include "tcp/peer.h"
#include "tcp/script.h"

// Servers that don't keep to the packets: every operation ends with a code, and nothing outside the working
// directory is touched.

namespace {

using std::string;

const string kWelcome = Reply("TVL\t0\t7\t0\t1\tshort\tlong");

// What a server answers to all that RunAll asks, and where each operation has got all it needs.
std::vector<string> GoodReplies() {
  return {kWelcome, Reply("1\tpc\t2\t3\t127.0.0.1\tuser"),
          Reply(string("0\0"
                       "1000\0"
                       "\0\5Hello",
                       14)) +
              Reply(string("\0\5world", 7)) +
              Reply(string("\0\0"
                           "2000",
                           6)),
          Reply("0") + Reply("0") + Reply("0\t3000")};
}

// The codes of one use of everything there is.
std::vector<int> RunAll(Connection& client, unsigned int port) {
  std::vector<int> codes = {client.Connect(port)};
  int state = 0;
  std::vector<char> computer(64);
  std::vector<char> ip(16);
  std::vector<char> user(65);
  codes.push_back(client.Lock(Arg("A"), &state, computer.data(), &state, &state, ip.data(), user.data()));
  client.transferred = 1;
  codes.push_back(client.Get("get", "get"));
  client.transferred = 1;
  client.folder.Write("work/put", "abc");
  codes.push_back(client.Put("put", "put"));
  client.Close();
  return codes;
}

TEST(BadServer, CutAtEveryByte) {
  const std::vector<string> replies = GoodReplies();
  string all;
  for (const string& reply : replies) all += reply;
  for (std::size_t cut = 0; cut <= all.size(); ++cut) {
    Server server([&](Peer& peer) {
      peer.Send(all.substr(0, cut));
      peer.EndSending();
      peer.ReadRest();
    });
    Connection client;
    const std::vector<int> codes = RunAll(client, server.Port());
    std::size_t needed = 0;
    for (std::size_t i = 0; i < codes.size(); ++i) {
      needed += replies[i].size();
      EXPECT_EQ(codes[i] == TVL_OK, cut >= needed)
          << "operation " << i << ", cut at " << cut << ": " << codes[i];
    }
  }
}

TEST(BadServer, SendsAnything) {
  std::minstd_rand random(20240521);
  for (int round = 0; round < 200; ++round) {
    string bytes = round % 2 == 0 ? kWelcome : "";
    for (int packet = 0; packet < 4; ++packet) {
      string payload(random() % 60, 0);
      // Mostly bytes that mean something somewhere.
      constexpr std::string_view likely = std::string_view(
          "\0\0\0\1\2"
          "19\t0-9 ",
          12);
      std::generate(payload.begin(), payload.end(), [&] {
        return random() % 4 == 0 ? static_cast<char>(random()) : likely[random() % likely.size()];
      });
      bytes += random() % 8 == 0 ? payload : Reply(payload);
    }
    Server server([&](Peer& peer) {
      peer.Send(bytes);
      peer.EndSending();
      peer.ReadRest();
    });
    Connection client;
    RunAll(client, server.Port());
    for (const string& name : client.folder.Tree()) {
      EXPECT_TRUE(name == "work" || name == "work/get" || name == "work/put")
          << name << " in round " << round;
    }
  }
}

}  // namespace
