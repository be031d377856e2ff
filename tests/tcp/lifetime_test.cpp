#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/tvlclient.h>

#include "support/helper_process.h"
#include "tcp/connection.h"
#include "tcp/peer.h"
#include "tcp/script.h"
#include "tcp/socket.h"
#include "tcp/system.h"

// How connections end, with and without their process.

namespace {

using std::string;

// Connects by the free function and leaves it at that.
int LeaveConnected(const std::vector<string>& arguments) {
  const TempFolder folder;
  const auto port = static_cast<unsigned int>(std::stoul(arguments.at(0)));
  return TVLConnect2Tcp(Arg(folder.Host()), Arg(""), Arg("127.0.0.1"), port, Arg("tvlc"), Arg(""));
}

const Role leave_connected("leave_connected", LeaveConnected);

TEST(Lifetime, ExitClosesWhatIsLeft) {
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "X");
    EXPECT_TRUE(peer.AtEnd());
  });
  HelperProcess helper({"leave_connected", std::to_string(server.Port())});
  EXPECT_EQ(helper.Wait(), 0);
}

// Connects in a process that can't have fork handlers: the exit code is whether that counts as a failure.
int ConnectWithoutForkHandlers(const std::vector<string>& arguments) {
  const Without fork_handlers(Lack::kForkHandlers);
  CJSock socket;
  errno = 0;
  const int result = socket.ConnectHost("127.0.0.1", static_cast<unsigned int>(std::stoul(arguments.at(0))));
  return result == 0 && socket.lastError != 0 ? 0 : 1;
}

const Role connect_without_fork_handlers("connect_without_fork_handlers", ConnectWithoutForkHandlers);

TEST(Lifetime, WithoutForkHandlersThereIsNoConnection) {
  const Listener listener;
  HelperProcess helper({"connect_without_fork_handlers", std::to_string(listener.Port())});
  EXPECT_EQ(helper.Wait(), 0);
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

// Then the descriptor's number can't be kept from being used again.
TEST(Lifetime, ForkedChildWithoutDevNullClosesNobodysFile) {
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "X");
  });
  auto client = std::make_unique<Connection>();
  ASSERT_EQ(client->Connect(server.Port()), 0);
  rlimit files = {};
  getrlimit(RLIMIT_NOFILE, &files);
  const rlimit none = {0, files.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const pid_t child = Fork([&] {
    setrlimit(RLIMIT_NOFILE, &files);
    std::vector<int> own(64);
    for (int& file : own) file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    client->CTVLClientTcpOpr::~CTVLClientTcpOpr();
    return std::all_of(own.begin(), own.end(), [](int file) { return fcntl(file, F_GETFD) >= 0; }) ? 0 : 1;
  });
  setrlimit(RLIMIT_NOFILE, &files);
  EXPECT_EQ(ExitCode(child), 0);
}

}  // namespace
