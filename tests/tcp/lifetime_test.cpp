#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <tvlclient/tvlclient.h>

#include "engine/helper_process.h"
#include "tcp/connection.h"
#include "tcp/peer.h"
#include "tcp/script.h"

// How connections end, with and without their process.

namespace {

using std::string;

// Connects by the free function and leaves it at that, or waits to be killed.
int LeaveConnected(const std::vector<string>& arguments) {
  const TempFolder folder;
  const auto port = static_cast<unsigned int>(std::stoul(arguments.at(0)));
  const int code = TVLConnect2Tcp(Arg(folder.Host()), Arg(""), Arg("127.0.0.1"), port, Arg("tvlc"), Arg(""));
  Tell(std::to_string(code));
  if (arguments.at(1) == "wait") Listen();
  return 0;
}

const Role leave_connected("leave_connected", LeaveConnected);

TEST(Lifetime, ExitClosesWhatIsLeft) {
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "X");
    EXPECT_TRUE(peer.AtEnd());
  });
  HelperProcess helper({"leave_connected", std::to_string(server.Port()), "exit"});
  EXPECT_EQ(helper.Hear(), "0");
  EXPECT_EQ(helper.Wait(), 0);
}

TEST(Lifetime, DeathShowsAsTheEndOfTheStream) {
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_TRUE(peer.AtEnd());
  });
  HelperProcess helper({"leave_connected", std::to_string(server.Port()), "wait"});
  EXPECT_EQ(helper.Hear(), "0");
  helper.Signal(SIGKILL);
  EXPECT_EQ(helper.Wait(), -SIGKILL);
}

// A forked child that runs `work` and ends with its result. It is killed after a while if it hangs.
pid_t Fork(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child != 0) return child;
  alarm(30);
  _exit(work());
}

int ExitCode(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Lifetime, ForkedChildHasNoConnection) {
  Server server([](Peer& peer) {
    peer.Welcome();
    for (const char* state : {"1", "2"}) {
      EXPECT_EQ(peer.ReadPacket(), "LA");
      peer.Send(Reply(state));
    }
    EXPECT_EQ(peer.ReadPacket(), "X");
    EXPECT_TRUE(peer.AtEnd());
  });
  Server childs_server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "LA");
    peer.Send(Reply("3"));
    EXPECT_EQ(peer.ReadPacket(), "X");
  });
  auto client = std::make_unique<Connection>();
  ASSERT_EQ(client->Connect(server.Port()), 0);
  EXPECT_EQ(client->LockState("A"), 1);
  client->folder.Write("work/a", "a");
  const pid_t child = Fork([&] {
    if (client->LockState("A") != -TVL_ERR_NOT_CONNECTED) return 1;
    if (client->Get("a", "a") != TVL_ERR_TCP_SEND || client->Put("a", "a") != TVL_ERR_TCP_SEND) return 2;
    client->Close();
    if (client->Connect(childs_server.Port()) != 0 || client->LockState("A") != 3) return 3;
    client->CTVLClientTcpOpr::~CTVLClientTcpOpr();
    return 0;
  });
  EXPECT_EQ(ExitCode(child), 0);
  const pid_t careless = Fork([&] {
    client->CTVLClientTcpOpr::~CTVLClientTcpOpr();
    return 0;
  });
  EXPECT_EQ(ExitCode(careless), 0);
  EXPECT_EQ(client->LockState("A"), 2) << "children don't end the connection";
  client.reset();
}

// Else the server would take a dead client for alive, and keep its locks, for as long as its children live.
TEST(Lifetime, ForkedChildHoldsNoEndOfTheStream) {
  int pipes[2] = {};
  ASSERT_EQ(pipe(pipes), 0);
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "X");
    EXPECT_TRUE(peer.AtEnd());
  });
  auto client = std::make_unique<Connection>();
  ASSERT_EQ(client->Connect(server.Port()), 0);
  const pid_t child = Fork([&] {
    close(pipes[1]);
    char byte = 0;
    return read(pipes[0], &byte, 1) == 0 ? 0 : 1;
  });
  client.reset();
  server.Join();
  close(pipes[1]);
  close(pipes[0]);
  EXPECT_EQ(ExitCode(child), 0);
}

}  // namespace
