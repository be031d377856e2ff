#ifndef TVL_SERVER_SERVER_H
#define TVL_SERVER_SERVER_H

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "server/service.h"
#include "server/service_manager.h"
#include "server/session.h"
#include "server/wire/port_file.h"

namespace tvl::server {

// Accepts clients and serves them until a signal ends it.
class Server {
 public:
  explicit Server(Service& service);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Listens on the addresses of the options and writes the port files. Throws std::runtime_error or
  // asio::system_error.
  void Listen();

  // Serves until SIGTERM or SIGINT. Then it accepts no new clients, and running requests get five seconds. A
  // second signal ends them at once. SIGHUP reloads the rules for admission and reopens the log.
  void Run();

 private:
  using Acceptor = asio::ip::tcp::acceptor;

  // An address to listen on, and the kind of its clients.
  struct Listener {
    Acceptor acceptor;
    Session::Entrance entrance;
  };

  unsigned int ListenOn(const ListenAddress& address, Session::Entrance entrance);
  unsigned int TakeOver(const std::vector<int>& sockets, Session::Entrance entrance);
  void AddListener(std::unique_ptr<Listener> listener);
  [[nodiscard]] asio::error_code ListenAt(const asio::ip::tcp::endpoint& endpoint,
                                          Session::Entrance entrance);
  void CheckCertificatesAreSafe(const asio::ip::tcp::endpoint& endpoint, Session::Entrance entrance) const;
  asio::awaitable<void> Accept(Listener& listener);
  asio::awaitable<void> AcceptNext(Listener& listener);
  void Begin(asio::ip::tcp::socket socket, Session::Entrance entrance);
  [[nodiscard]] Lobby* LobbyFor(const asio::ip::address& address, Session::Entrance entrance);
  void End(const std::shared_ptr<Session>& session);
  [[nodiscard]] bool IsDone() const;
  void WaitForSignal();
  void WaitForReload();
  void Reload();
  void Finish();
  void CutAll();
  void LeaveIfDone();

  Service& service_;
  asio::io_context context_;
  std::vector<std::unique_ptr<Listener>> listeners_;
  std::vector<PortFile> port_files_;
  asio::signal_set signals_;
  asio::signal_set reload_;
  ServiceManager manager_;
  asio::steady_timer grace_;
  Lobby handshakes_;
  Lobby refused_;  // connections from addresses that are not allowed
  std::set<std::shared_ptr<Session>> sessions_;
  bool finishing_ = false;
};

}  // namespace tvl::server

#endif
