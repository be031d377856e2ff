#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <stdexcept>

#include "server/server_process.h"

// If a client or server dies in the middle of a request, the stored file is intact, no files are left over,
// and the locks are released.

namespace {

using std::string;

// A store with a file that many packets move.
struct StoreOfOne : ServedStore {
  StoreOfOne() { Write("f", old); }
  const string old = string(150000, 'o');
};

// The packets of a put or a get.
std::vector<string> Packets(char letter) {
  std::vector<string> packets = {string(1, letter) + "f\t@"};
  packets.resize(4, letter == 'P' ? "0" + string(30000, 'n') : "0");
  return packets;
}

TEST(ServerInterruption, AtAnyPacketKeepsOldFileAndReleasesLocks) {
  const auto reset = [](RawClient& client) { client.Reset(); };
  const auto end_stream = [](RawClient& client) { client.CloseWriting(); };
  const auto end = [](RawClient& client) { client.SendPacket("X"); };
  const struct {
    const char* name;
    const char* window;  // in which all packets are sent without a look at the answers
    void (*break_off)(RawClient& client);
  } endings[] = {{"reset", "", reset},
                 {"end of stream", "", end_stream},
                 {"end", "", end},
                 {"reset in a window", "window=8", reset},
                 {"end of stream in a window", "window=8", end_stream},
                 {"end in a window", "window=8", end},
                 {"other command", "", [](RawClient& client) {
                    EXPECT_EQ(client.Ask("P../bad"), "20");
                    client.SendPacket("X");
                  }}};
  const StoreOfOne store;
  const ServerProcess server(store);
  int entered = 0;
  for (const auto& ending : endings) {
    for (const char letter : {'P', 'G'}) {
      for (std::size_t sent = 1; sent <= Packets(letter).size(); ++sent) {
        SCOPED_TRACE(letter + (" by " + string(ending.name)) + " after packet " + std::to_string(sent));
        const string user = "ann" + std::to_string(++entered);
        RawClient client = server.Enter({.user = user, .window = ending.window});
        EXPECT_EQ(client.Lock("ORD1"), "1\tpc1");
        for (std::size_t i = 0; i < sent; ++i) {
          client.SendPacket(Packets(letter)[i]);
          if (*ending.window == 0) {
            EXPECT_FALSE(client.Receive().empty());
          }
        }
        ending.break_off(client);
        ASSERT_TRUE(server.WaitForLog("/" + user + "/mgrx#1\" end "));
        EXPECT_TRUE(store.Read("f") == store.old);
        EXPECT_EQ(store.Files(), std::vector<string>{"f"});
        EXPECT_TRUE(store.store.Markers().empty());
      }
    }
  }
  EXPECT_EQ(server.Enter({"pc2"}).Lock("ORD1"), "1\tpc2");
}

// Clients that each hold a lock and are in the middle of a put or get.
std::vector<RawClient> Busy(const ServerProcess& server) {
  std::vector<RawClient> clients;
  for (const string command : {"Pf\t@", "Pnew/g\t@", "Gf\t@"}) {
    const RawClient& client = clients.emplace_back(server.Enter());
    EXPECT_EQ(client.Lock(command.substr(0, 2)), "1\tpc1");
    EXPECT_EQ(client.Ask(command)[0], '0');
    if (command[0] == 'P') {
      EXPECT_EQ(client.Ask("0half"), "0");
    }
  }
  return clients;
}

void ExpectLocksFree(const ServerProcess& server) {
  const RawClient client = server.Enter({"pc2"});
  for (const char* object : {"Pf", "Pn", "Gf"}) EXPECT_EQ(client.Lock(object), "1\tpc2") << object;
}

TEST(ServerInterruption, KilledServerLeavesStoreIntact) {
  const StoreOfOne store;
  {
    ServerProcess server(store);
    const std::vector<RawClient> clients = Busy(server);
    server.Signal(SIGKILL);
    EXPECT_EQ(server.Wait(), 128 + SIGKILL);
    EXPECT_TRUE(clients[0].IsEnded());
  }
  EXPECT_TRUE(store.Read("f") == store.old);
  ASSERT_EQ(store.Files().size(), 4U);  // the file, two parts and a folder
  const ServerProcess server(store);
  EXPECT_TRUE(server.WaitForLog("removed 2 unfinished puts"));
  EXPECT_EQ(store.Files(), (std::vector<string>{"f", "new"}));
  ExpectLocksFree(server);
}

TEST(ServerInterruption, KeepsPartsOfLiveServer) {
  const ServedStore store;
  const ServerProcess first(store);
  const RawClient client = first.Enter();
  EXPECT_EQ(client.Ask("Pf\t@"), "0");
  EXPECT_EQ(client.Ask("0half"), "0");
  const ServerProcess second(store);
  EXPECT_EQ(client.Ask("0 and half"), "0");
  EXPECT_EQ(client.Ask("0")[0], '0');
  EXPECT_EQ(store.Read("f"), "half and half");
}

TEST(ServerInterruption, TerminationDropsUnfinishedRequests) {
  const StoreOfOne store;
  ServerProcess server(store);
  const std::vector<RawClient> clients = Busy(server);
  const RawClient idle = server.Enter();
  const RawClient ending = server.Enter();
  EXPECT_EQ(ending.Ask("Pended\t@"), "0");
  server.Signal(SIGTERM);
  EXPECT_TRUE(idle.IsEnded());  // an idle client is disconnected at once
  EXPECT_THROW(server.Enter(), std::runtime_error);
  EXPECT_EQ(ending.Ask("0in time"), "0");
  EXPECT_EQ(ending.Ask("0")[0], '0');
  EXPECT_EQ(server.Wait(), 0);
  EXPECT_TRUE(store.Read("f") == store.old);
  EXPECT_EQ(store.Read("ended"), "in time");
  EXPECT_EQ(store.Files(), (std::vector<string>{"ended", "f"}));
  EXPECT_TRUE(store.store.Markers().empty());
  ExpectLocksFree(ServerProcess(store));
}

TEST(ServerInterruption, IdleServerOrSecondSignalEndsAtOnce) {
  const ServedStore store;
  ServerProcess idle(store);
  idle.Signal(SIGINT);
  EXPECT_EQ(idle.Wait(), 0);
  EXPECT_FALSE(idle.HasPortFile());
  ServerProcess server(store);
  const RawClient client = server.Enter();
  EXPECT_EQ(client.Ask("Pf\t@"), "0");
  server.Signal(SIGTERM);
  ASSERT_TRUE(server.WaitForLog(" stop "));
  const auto began = std::chrono::steady_clock::now();
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - began,
            std::chrono::seconds(4));  // less than the five seconds that it waits
  EXPECT_TRUE(store.Files().empty());
}

}  // namespace
