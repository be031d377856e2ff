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

#include "server/service_manager/service_manager.h"
#include "server/sessions/lobby.h"
#include "server/sessions/service.h"
#include "server/sessions/session.h"
#include "server/wire/listeners.h"

namespace tvl::server {

// Accepts clients and serves them until a signal ends it.
class Server {
 public:
  explicit Server(Service& service);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Listens on the addresses of the options and writes the port files. Throws std::runtime_error or
  // asio::system_error.
  void Listen() { listeners_.Open(); }

  // Serves until SIGTERM or SIGINT. Then it accepts no new clients, and running requests get five seconds. A
  // second signal ends them at once. SIGHUP reloads the rules for admission and reopens the log.
  void Run();

 private:
  asio::awaitable<void> Accept(Listeners::Listener& listener);
  asio::awaitable<void> AcceptNext(Listeners::Listener& listener);
  void Begin(asio::ip::tcp::socket socket, Entrance entrance);
  [[nodiscard]] Lobby* LobbyFor(const asio::ip::address& address, Entrance entrance);
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
  Listeners listeners_;
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
