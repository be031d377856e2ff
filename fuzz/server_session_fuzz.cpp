#include <sys/socket.h>
#include <unistd.h>

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "config/config.h"
#include "presence/connection.h"
#include "server/sessions/service.h"
#include "server/sessions/session.h"
#include "server/settings/options.h"
#include "support/store.h"
#include "support/temp_folder.h"

// The input is what a client sends in a complete session of the server with a store. Afterwards only files
// may be left, and none outside the store. The first byte determines whether transfers are
// compressed, and whether a proxy header comes first.

namespace {

using asio::ip::tcp;
using tvl::server::Entrance;
using tvl::server::Options;
using tvl::server::Service;
using tvl::server::Session;

constexpr std::uint8_t kPacked = 1;
constexpr std::uint8_t kProxied = 2;

void Expect(bool holds) {
  if (!holds) std::abort();
}

CConfig Configured(const Store& store, bool zip) {
  store.Make();
  std::ofstream(store.root_host + "tvl.ini", std::ios::app) << "FileCompare=HASH\n";
  CConfig config;
  Expect(config.Load((store.root_host + "tvl.ini").c_str()) == 0);
  config.zipOnTransfert = zip ? 1 : 0;
  return config;
}

Options Limited(const Store& store) {
  Options options;
  options.config = store.root_host + "tvl.ini";
  options.max_file = 1'000'000;
  return options;
}

// A store with a file in it and one next to it.
class Served {
 public:
  explicit Served(bool zip) : store_(folder_.Host()), config_(Configured(store_, zip)) {
    folder_.Write("store/a.txt", std::string(50000, 'a'));
    folder_.Write("secret", "secret");
  }

  [[nodiscard]] Service& Server() { return service_; }

  void Check() {
    for (const std::string& name : folder_.Tree()) {
      Expect(!name.ends_with(".tvlpart"));
      Expect(name == "secret" || name.starts_with("store"));
    }
    Expect(folder_.Read("secret") == "secret");
    Expect(store_.Markers().empty());
    std::vector<tvl::LockRow> rows;
    Expect(looking_.ListLocks(rows) && rows.empty());
  }

 private:
  TempFolder folder_{TempFolder::Memory()};
  Store store_;
  Options options_ = Limited(store_);
  CConfig config_;
  tvl::server::Log log_{{.file = {}, .json = false, .level = tvl::server::Level::kError}};
  Service service_{options_, config_, log_};
  CConnection looking_{store_.locks.c_str(), store_.procs.c_str(), "look"};
};

// Sends all bytes and reads all answers.
void Talk(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) break;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  shutdown(socket, SHUT_WR);
  char dropped[4096];
  while (recv(socket, dropped, sizeof dropped, 0) > 0) continue;
  close(socket);
}

void Serve(Service& service, Entrance entrance, std::string_view bytes) {
  int sockets[2];
  Expect(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) == 0);
  std::thread client(Talk, sockets[0], bytes);
  {
    asio::io_context context(1);
    tcp::socket socket(context);
    socket.assign(tcp::v4(), sockets[1]);
    tvl::server::Lobby lobby(1);
    Session session(service, std::move(socket), entrance, lobby);
    asio::co_spawn(context, session.Run(), asio::detached);
    context.run();
  }
  client.join();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Served plain(false);
  static Served packed(true);
  if (size == 0) return 0;
  Served& served = (bytes[0] & kPacked) == 0 ? plain : packed;
  const auto entrance = (bytes[0] & kProxied) == 0 ? Entrance::kPlain : Entrance::kProxy;
  Serve(served.Server(), entrance, {reinterpret_cast<const char*>(bytes + 1), size - 1});
  served.Check();
  return 0;
}
