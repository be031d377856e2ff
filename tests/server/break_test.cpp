#include <gtest/gtest.h>
#include <signal.h>

#include <stdexcept>

#include "server/raw_client.h"
#include "server/server_process.h"

// What is left when somebody dies in the middle: the stored file whole, no litter, and the locks free.

namespace {

using std::string;

const std::vector<string> kJustTheFile = {"f"};

string Old() {
  return string(150000, 'o');
}

// The packets of a put or a get, one by one.
std::vector<string> Packets(char letter) {
  std::vector<string> packets = {string(1, letter) + "f\t@"};
  for (int i = 0; i < 3; ++i) packets.push_back(letter == 'P' ? "0" + string(30000, 'n') : "0");
  return packets;
}

enum class Ending { kReset, kEndOfStream, kSaysSo, kOtherCommand };

void BreakOff(RawClient& client, Ending ending) {
  if (ending == Ending::kReset) client.Reset();
  if (ending == Ending::kEndOfStream) client.CloseWriting();
  if (ending == Ending::kOtherCommand) {
    EXPECT_EQ(client.Ask("P../bad"), "20");
  }
  if (ending == Ending::kOtherCommand || ending == Ending::kSaysSo) client.SendPacket("X");
}

TEST(BreakingOff, AtAnyPacketLeavesTheOldFileAndFreesTheLocks) {
  const ServedStore store;
  store.Write("f", Old());
  ServerProcess server(store);
  int ended = 0;
  for (const Ending ending : {Ending::kReset, Ending::kEndOfStream, Ending::kSaysSo, Ending::kOtherCommand}) {
    for (const char letter : {'P', 'G'}) {
      for (std::size_t sent = 1; sent <= Packets(letter).size(); ++sent) {
        SCOPED_TRACE(letter + (" in way " + std::to_string(static_cast<int>(ending))) + " behind packet " +
                     std::to_string(sent));
        RawClient client = RawClient::Entered(server.Port());
        EXPECT_TRUE(client.Ask("LORD1").starts_with("1\t"));
        for (std::size_t i = 0; i < sent; ++i) EXPECT_FALSE(client.Ask(Packets(letter)[i]).empty());
        BreakOff(client, ending);
        ASSERT_TRUE(server.WaitForLog(" end ", ++ended));
        EXPECT_TRUE(store.Read("f") == Old());
        EXPECT_EQ(store.Files(), kJustTheFile);
        EXPECT_TRUE(store.store.Markers().empty());
      }
    }
  }
  EXPECT_TRUE(
      RawClient::Entered(server.Port(), {"mgrx", "pc2", "bob", ""}).Ask("LORD1").starts_with("1\tpc2"));
}

// Clients of which each has a lock and is in the middle of a put or a get.
std::vector<RawClient> Busy(const ServerProcess& server) {
  std::vector<RawClient> clients;
  for (const char* command : {"Pf\t@", "Pnew/g\t@", "Gf\t@"}) {
    clients.push_back(RawClient::Entered(server.Port()));
    const RawClient& client = clients.back();
    EXPECT_TRUE(client.Ask("L" + string(command, 2)).starts_with("1\t"));
    EXPECT_EQ(client.Ask(command)[0], '0');
    if (command[0] != 'P') continue;
    EXPECT_EQ(client.Ask("0half"), "0");
  }
  return clients;
}

void ExpectLocksFree(const ServerProcess& server) {
  const RawClient client = RawClient::Entered(server.Port(), {"mgrx", "pc2", "bob", ""});
  for (const char* object : {"Pf", "Pn", "Gf"}) {
    EXPECT_TRUE(client.Ask(string("L") + object).starts_with("1\tpc2")) << object;
  }
}

TEST(BreakingOff, AKilledServerLeavesTheStoreWhole) {
  const ServedStore store;
  store.Write("f", Old());
  {
    ServerProcess server(store);
    const std::vector<RawClient> clients = Busy(server);
    server.Signal(SIGKILL);
    EXPECT_EQ(server.Wait(), -SIGKILL);
    EXPECT_TRUE(clients[0].IsEnded());
  }
  EXPECT_TRUE(store.Read("f") == Old());
  ASSERT_EQ(store.Files().size(), 4U);  // the file, two parts and a folder
  ServerProcess server(store);
  EXPECT_TRUE(server.WaitForLog("2 unfinished puts removed"));
  EXPECT_EQ(store.Files(), (std::vector<string>{"f", "new"}));
  ExpectLocksFree(server);
}

TEST(BreakingOff, AServerSparesThePartsOfOneThatLives) {
  const ServedStore store;
  const ServerProcess first(store);
  const RawClient client = RawClient::Entered(first.Port());
  EXPECT_EQ(client.Ask("Pf\t@"), "0");
  EXPECT_EQ(client.Ask("0half"), "0");
  const ServerProcess second(store);
  EXPECT_EQ(client.Ask("0 and half"), "0");
  EXPECT_EQ(client.Ask("0")[0], '0');
  EXPECT_EQ(store.Read("f"), "half and half");
}

TEST(BreakingOff, ATerminatedServerDropsWhatDoesNotEnd) {
  const ServedStore store;
  store.Write("f", Old());
  ServerProcess server(store);
  const std::vector<RawClient> clients = Busy(server);
  const RawClient idle = RawClient::Entered(server.Port());
  const RawClient ending = RawClient::Entered(server.Port());
  EXPECT_EQ(ending.Ask("Pended\t@"), "0");
  server.Signal(SIGTERM);
  EXPECT_TRUE(idle.IsEnded());  // who is doing nothing is sent away at once
  EXPECT_THROW(RawClient::Entered(server.Port()), std::runtime_error);
  EXPECT_EQ(ending.Ask("0in time"), "0");
  EXPECT_EQ(ending.Ask("0")[0], '0');
  EXPECT_EQ(server.Wait(), 0);
  EXPECT_TRUE(store.Read("f") == Old());
  EXPECT_EQ(store.Read("ended"), "in time");
  EXPECT_EQ(store.Files(), (std::vector<string>{"ended", "f"}));
  EXPECT_TRUE(store.store.Markers().empty());
  const ServerProcess next(store);
  ExpectLocksFree(next);
}

TEST(BreakingOff, AnIdleServerEndsAtOnce) {
  const ServedStore store;
  for (const int signal : {SIGTERM, SIGINT}) {
    ServerProcess server(store);
    server.Signal(signal);
    EXPECT_EQ(server.Wait(), 0);
  }
}

TEST(BreakingOff, ASecondSignalDoesNotWait) {
  const ServedStore store;
  ServerProcess server(store);
  const RawClient client = RawClient::Entered(server.Port());
  EXPECT_EQ(client.Ask("Pf\t@"), "0");
  server.Signal(SIGTERM);
  ASSERT_TRUE(server.WaitForLog("stop"));
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 0);
  EXPECT_TRUE(store.Files().empty());
}

}  // namespace
