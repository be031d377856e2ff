#include "server/service_manager/service_manager.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/un.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <optional>
#include <regex>
#include <thread>

#include "server/server_process.h"
#include "server/service_manager/passed_sockets.h"

// The server under a service manager, which the tests play.

namespace {

using std::string;
using tvl::Descriptor;

constexpr int kPatience = 30 * 1000;  // ms

// The manager's socket for notifications. Not a path that anything else could have: abstract where `name`
// begins with "@".
class Manager {
 public:
  explicit Manager(const string& name) : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    if (name[0] == '@') address.sun_path[0] = '\0';
    const std::size_t size = offsetof(sockaddr_un, sun_path) + name.size() + (name[0] == '@' ? 0 : 1);
    if (bind(socket_.Get(), reinterpret_cast<sockaddr*>(&address), static_cast<socklen_t>(size)) != 0)
      throw std::runtime_error("no socket at " + name);
  }

  // The next notification; empty if none comes in this time.
  [[nodiscard]] string Next(int milliseconds = kPatience) const {
    pollfd wanted = {socket_.Get(), POLLIN, 0};
    if (poll(&wanted, 1, milliseconds) != 1) return {};
    char text[4096];
    const ssize_t size = recv(socket_.Get(), text, sizeof text, 0);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
  }

  // Whether a notification comes that contains `text`; `seen` gets all up to it.
  [[nodiscard]] bool Await(const string& text, string& seen) const {
    seen.clear();
    for (string next = Next(); !next.empty(); next = Next()) {
      seen += next + "\n";
      if (next.find(text) != string::npos) return true;
    }
    return false;
  }

 private:
  Descriptor socket_;
};

TEST(ServiceManager, LearnsTheStateOfTheServer) {
  const ServedStore store;
  const struct {
    string address;
    string watchdog;
    bool watched;
  } rows[] = {{store.folder.Host("notify"), "WATCHDOG_USEC=20000 WATCHDOG_PID=$$", true},
              {"@tvlserver-test-" + std::to_string(getpid()), "WATCHDOG_USEC=20000", true},
              {"@tvlserver-test2-" + std::to_string(getpid()), "WATCHDOG_USEC=2000 WATCHDOG_PID=1", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.address);
    const Manager manager(row.address);
    ServerProcess server(store, {}, "export NOTIFY_SOCKET='" + row.address + "' " + row.watchdog);
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=clients: 0");
    const RawClient client = server.Enter();
    string seen;
    if (row.watched) {
      EXPECT_TRUE(manager.Await("WATCHDOG=1\nSTATUS=clients: 1", seen));
      EXPECT_TRUE(manager.Await("WATCHDOG=1", seen));
    }
    server.Signal(SIGHUP);
    EXPECT_TRUE(manager.Await("RELOADING=1", seen));
    EXPECT_TRUE(std::regex_search(seen, std::regex("RELOADING=1\nMONOTONIC_USEC=[0-9]+\n$"))) << seen;
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=clients: 1");
    server.Signal(SIGTERM);
    EXPECT_TRUE(manager.Await("STOPPING=1", seen));
    EXPECT_EQ(seen.find("WATCHDOG") != string::npos, row.watched) << seen;
    EXPECT_EQ(server.Wait(), 0);
    EXPECT_EQ(manager.Next(0), "");
  }
}

// A manager that is not there, or has another kind of address, keeps nobody from being served.
TEST(ServiceManager, IsNotNeeded) {
  const ServedStore store;
  for (const string& address : {store.folder.Host("missing"), string("vsock:2:1"), "/" + string(200, 'x')}) {
    const ServerProcess server(store, {}, "export NOTIFY_SOCKET=" + address);
    EXPECT_EQ(server.Enter().Lock("ORD1"), "1\tpc1");
    EXPECT_TRUE(server.WaitForLog(" warning: notify ")) << server.Log();
  }
}

TEST(ServiceManager, MissesAServerWhoseNetworkHangs) {
  const string address = "@tvlserver-test-" + std::to_string(getpid());
  const Manager manager(address);
  setenv("NOTIFY_SOCKET", address.c_str(), 1);
  setenv("WATCHDOG_USEC", "2000", 1);
  asio::io_context context(1);
  tvl::server::Log log({});
  tvl::server::ServiceManager reporter(context, log, [] { return string("well"); });
  unsetenv("NOTIFY_SOCKET");
  unsetenv("WATCHDOG_USEC");
  reporter.ReportReady();
  EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=well");
  EXPECT_EQ(manager.Next(), "WATCHDOG=1\n");
  EXPECT_EQ(manager.Next(50), "") << "the thread does not turn";
  context.run_one();
  EXPECT_EQ(manager.Next(), "WATCHDOG=1\n");
  reporter.ReportStopping();
  context.run();
}

// A listening socket of the service manager, which outlives its servers.
class PassedListener {
 public:
  PassedListener() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(socket_.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(socket_.Get(), SOMAXCONN) != 0)
      throw std::runtime_error("no listening socket");
  }
  [[nodiscard]] int Number() const { return socket_.Get(); }
  [[nodiscard]] unsigned short Port() const { return tvl::server::EndpointOf(socket_.Get()).port(); }

 private:
  Descriptor socket_;
};

// Clients that come and go without a pause until the object ends.
class Load {
 public:
  explicit Load(unsigned short port) {
    for (int client = 0; client < 4; ++client) {
      threads_.emplace_back([this, port](const std::stop_token& stop) {
        while (!stop.stop_requested()) CallOnce(port);
      });
    }
  }

  // Waits until as many clients more have been served.
  void AwaitServed(int more) const {
    const int wanted = served_ + more;
    while (served_ < wanted && refused_ == 0) std::this_thread::yield();
  }

  [[nodiscard]] int Refused() const { return refused_; }

 private:
  void CallOnce(unsigned short port) {
    std::optional<RawClient> client;
    try {
      client.emplace(port);
    } catch (const std::runtime_error&) {
      ++refused_;
      return;
    }
    try {
      client->Send(RawClient::HandshakeBytes({}));
      if (client->Receive().starts_with(kAccepted)) ++served_;
      client->SendPacket("X");
    } catch (const std::runtime_error&) {
      // It was let in and then met the end of its server, as any client may.
    }
  }

  std::atomic<int> served_ = 0;
  std::atomic<int> refused_ = 0;
  std::vector<std::jthread> threads_;
};

TEST(PassedSockets, KeepARestartFromRefusingConnections) {
  const ServedStore store;
  const PassedListener listener;
  std::optional<ServerProcess> server;
  server.emplace(store, std::vector<string>(), ":", PassedSocket{listener.Number()});
  const unsigned short port = server->Port();
  const Load load(port);
  for (const int signal : {SIGTERM, SIGKILL, SIGTERM}) {
    load.AwaitServed(50);
    server->Signal(signal);
    server->Wait();
    const RawClient early(port);  // connected to nobody yet
    server.emplace(store, std::vector<string>(), ":", PassedSocket{listener.Number()});
    EXPECT_EQ(server->Port(), port);
    early.Send(RawClient::HandshakeBytes({"pc2"}));
    EXPECT_TRUE(early.Receive().starts_with(kAccepted));
  }
  load.AwaitServed(50);
  EXPECT_EQ(load.Refused(), 0);
}

TEST(PassedSockets, ServeTheStatusAcrossRestarts) {
  const ServedStore store;
  const PassedListener listener;
  std::optional<RawClient> early;
  for (const int signal : {SIGTERM, SIGKILL, SIGTERM}) {
    ServerProcess server(store, {"--status-port-file", store.folder.Host("status")}, ":",
                         {listener.Number(), "status"});
    EXPECT_EQ(store.folder.Read("status"), std::to_string(listener.Port()) + "\n");
    if (early) {
      EXPECT_EQ(early->ReceiveBytes(12), "HTTP/1.1 200");
    }
    const RawClient stream(listener.Port());
    stream.Send("GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(stream.ReceiveBytes(12), "HTTP/1.1 200");
    server.Signal(signal);
    EXPECT_EQ(server.Wait(), signal == SIGTERM ? 0 : 128 + signal);
    early.emplace(listener.Port());  // no server yet
    early->Send("GET /metrics HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
  }
}

TEST(PassedSockets, AreRefusedWhereTheyCannotBeUsed) {
  const ServedStore store;
  const PassedListener listener;
  const Descriptor other(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const struct {
    const char* environment;
    int passed;
    const char* options;
    const char* message;
  } rows[] = {
      {"LISTEN_FDS=1 LISTEN_FDNAMES=web", listener.Number(), "", "\"web\": FileDescriptorName= must be"},
      {"LISTEN_FDS=1", listener.Number(), "", "\"\": FileDescriptorName= must be"},
      {"LISTEN_FDS=2 LISTEN_FDNAMES=listen:x", listener.Number(), "", "\"x\", descriptor 4: not a listening"},
      {"LISTEN_FDS=1 LISTEN_FDNAMES=listen", other.Get(), "", "not a listening TCP socket"},
      {"LISTEN_FDS=1 LISTEN_FDNAMES=listen", -1, "", "not a listening TCP socket"},
      {"LISTEN_FDS=many", listener.Number(), "", "LISTEN_FDS is not a number"},
      {"LISTEN_FDS=99999", listener.Number(), "", "LISTEN_FDS is not a number"},
      {"LISTEN_FDS=1 LISTEN_FDNAMES=listen", listener.Number(), "--listen=:0",
       "--listen: the service manager"},
      {"LISTEN_FDS=1 LISTEN_FDNAMES=status", listener.Number(), "--status=0",
       "--status: the service manager"},
      {"LISTEN_FDS=1 LISTEN_FDNAMES=proxy", listener.Number(), "", "--listen-proxy needs --proxy-from"},
  };
  for (const auto& row : rows) {
    ProcessStart start = {
        {"/bin/sh", "-c",
         string("export LISTEN_PID=$$ ") + row.environment + "; exec \"$0\" --config \"$1\" " + row.options,
         TVL_SERVER_PROGRAM, store.Path("tvl.ini")}};
    start.passed = row.passed;
    const ProcessResult result = RunProcess(start);
    EXPECT_EQ(result.exit, 2) << row.environment;
    EXPECT_NE(result.err.find(row.message), string::npos) << result.err;
  }
}

TEST(PassedSockets, AreListedByTheCheck) {
  const ServedStore store;
  const PassedListener listener;
  const struct {
    string name, option, listed;
  } rows[] = {
      {"proxy", "--proxy-from=127.0.0.1",
       "listens:      nowhere\nfor proxies:  1 from the service manager\n"},
      {"status", "--listen=:7440", "7440\nstatus:       1 from the service manager\n"},
  };
  for (const auto& row : rows) {
    ProcessStart start = {
        {"/bin/sh", "-c",
         "export LISTEN_PID=$$ LISTEN_FDS=1 LISTEN_FDNAMES=" + row.name + "; exec \"$0\" --check \"$@\"",
         TVL_SERVER_PROGRAM, "--config", store.Path("tvl.ini"), row.option}};
    start.passed = listener.Number();
    const ProcessResult result = RunProcess(start);
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_NE(result.out.find(row.listed), string::npos) << result.out;
  }
}

}  // namespace
