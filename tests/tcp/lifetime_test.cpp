#include <sys/resource.h>

#include <memory>

#include <tvlclient/tvlclient.h>

#include "support/forked.h"
#include "support/helper_process.h"
#include "tcp/connection.h"
#include "tcp/peer.h"

// How connections end, with and without their process.

namespace {

// Connects with the free function and does nothing else.
const Role leave_connected("leave_connected", [](const std::vector<string>& arguments) {
  const TempFolder folder;
  const auto port = static_cast<unsigned int>(std::stoul(arguments.at(0)));
  return TVLConnect2Tcp(Arg(folder.Host()), Arg(""), Arg("127.0.0.1"), port, Arg("tvlc"), Arg(""));
});

TEST(TcpLifetime, ExitClosesOpenConnections) {
  Server server(AnswersLocks({}));
  EXPECT_EQ(HelperProcess({"leave_connected", std::to_string(server.Port())}).Wait(), 0);
}

TEST(TcpLifetime, ForkedChildHasNoConnection) {
  Server server(AnswersLocks({"1", "2"}));
  Server childs_server(AnswersLocks({"3"}));
  auto client = std::make_unique<Connection>(server);
  EXPECT_EQ(client->LockState("A"), 1);
  client->folder.Write("work/a", "a");
  const auto destroy = [&] {
    client->CTVLClientTcpOpr::~CTVLClientTcpOpr();
    return 0;
  };
  const auto use = [&] {
    if (client->LockState("A") != -TVL_ERR_NOT_CONNECTED) return 1;
    if (client->Get("a", "a") != TVL_ERR_TCP_SEND || client->Put("a", "a") != TVL_ERR_TCP_SEND) return 2;
    client->Close();
    if (client->Connect(childs_server.Port()) != 0 || client->LockState("A") != 3) return 3;
    return destroy();
  };
  EXPECT_EQ(WaitFor(Fork(use)), 0);
  EXPECT_EQ(WaitFor(Fork(destroy)), 0);
  // If /dev/null cannot be opened, the number of the descriptor may be reused.
  rlimit files = {};
  getrlimit(RLIMIT_NOFILE, &files);
  const rlimit none = {0, files.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const pid_t child = Fork([&] {
    setrlimit(RLIMIT_NOFILE, &files);
    std::vector<int> own(64);
    for (int& file : own) file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    destroy();
    return std::all_of(own.begin(), own.end(), [](int file) { return fcntl(file, F_GETFD) >= 0; }) ? 0 : 1;
  });
  setrlimit(RLIMIT_NOFILE, &files);
  EXPECT_EQ(WaitFor(child), 0) << "a file of the child's own was closed";
  EXPECT_EQ(client->LockState("A"), 2) << "children don't end the connection";
  client.reset();
}

// Otherwise the server would regard a dead client as alive and keep its locks as long as its children live.
TEST(TcpLifetime, ForkedChildDoesNotKeepStreamOpen) {
  int pipes[2] = {};
  ASSERT_EQ(pipe(pipes), 0);
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_TRUE(peer.AtEnd());
  });
  Connection client;
  const auto die_before_a_child = [&] {
    const int code = client.Connect(server.Port());
    if (fork() != 0) return code;
    close(pipes[1]);
    char byte = 0;
    return static_cast<int>(read(pipes[0], &byte, 1));
  };
  EXPECT_EQ(WaitFor(Fork(die_before_a_child)), 0);
  server.Join();
  close(pipes[1]);
  close(pipes[0]);
}

}  // namespace
