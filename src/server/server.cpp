#include "server/server.h"

#include <asio/co_spawn.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "server/wire/passed_sockets.h"

namespace tvl::server {
namespace {

using asio::ip::tcp;

constexpr std::chrono::seconds kGrace(5);
constexpr std::chrono::seconds kUntilForced(10);  // a disk that hangs must not block the exit
constexpr std::chrono::milliseconds kAcceptPause(100);

constexpr std::size_t kHandshakesAtOnce = 64;
constexpr std::size_t kRefusedAtOnce = 32;

std::string Text(const tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" + std::to_string(endpoint.port());
}

}  // namespace

Server::Server(Service& service)
    : service_(service),
      context_(1),
      signals_(context_, SIGTERM, SIGINT),
      reload_(context_, SIGHUP),
      manager_(context_, service.log,
               [&service] { return "clients: " + std::to_string(service.clients.All()); }),
      grace_(context_),
      handshakes_(kHandshakesAtOnce),
      refused_(kRefusedAtOnce) {}

void Server::Listen() {
  const Options& options = service_.options;
  const unsigned int plain = ListenOn(options.plain, Session::Entrance::kPlain);
  const unsigned int proxy = ListenOn(options.proxy, Session::Entrance::kProxy);
  // Written last, so that a process that waits for one of the files finds both.
  if (!options.proxy.port_file.empty()) port_files_.emplace_back(options.proxy.port_file, proxy);
  if (!options.plain.port_file.empty()) port_files_.emplace_back(options.plain.port_file, plain);
}

// Listens on all addresses of a name, of which one that works is enough. Returns the port number; 0 if there
// is nothing to listen on.
unsigned int Server::ListenOn(const ListenAddress& address, Session::Entrance entrance) {
  if (!address.sockets.empty()) return TakeOver(address.sockets, entrance);
  if (address.port.empty()) return 0;
  tcp::resolver resolver(context_);
  unsigned short port = 0;
  asio::error_code failure = asio::error::host_not_found;
  const std::size_t before = listeners_.size();
  for (const auto& entry : resolver.resolve(address.host, address.port, tcp::resolver::passive)) {
    tcp::endpoint endpoint = entry.endpoint();
    // With port 0, the port selected for the first address is used for the others too.
    if (endpoint.port() == 0) endpoint.port(port);
    CheckCertificatesAreSafe(endpoint, entrance);
    if (const asio::error_code problem = ListenAt(endpoint, entrance)) {
      failure = problem;
      service_.log.Write(
          {.what = "listen", .level = Level::kError, .note = Text(endpoint) + ": " + problem.message()});
      continue;
    }
    port = listeners_.back()->acceptor.local_endpoint().port();
  }
  if (listeners_.size() == before) throw std::system_error(failure, "cannot listen on " + address.host);
  return port;
}

// Sockets that the service manager has opened and keeps open: clients that come while no server runs wait for
// the next one.
unsigned int Server::TakeOver(const std::vector<int>& sockets, Session::Entrance entrance) {
  const std::size_t before = listeners_.size();
  for (const int number : sockets) {
    const tcp::endpoint endpoint = EndpointOf(number);
    CheckCertificatesAreSafe(endpoint, entrance);
    auto listener = std::make_unique<Listener>(Listener{Acceptor(context_), entrance});
    listener->acceptor.assign(endpoint.protocol(), number);
    AddListener(std::move(listener));
  }
  return listeners_[before]->acceptor.local_endpoint().port();
}

// A client that bypasses the proxy has no certificate, so this is allowed on this computer only.
void Server::CheckCertificatesAreSafe(const tcp::endpoint& endpoint, Session::Entrance entrance) const {
  const Options& options = service_.options;
  if (entrance == Session::Entrance::kProxy || !options.user_from_certificate) return;
  if (Plain(endpoint.address()).is_loopback()) return;
  throw std::runtime_error("with --user-from-certificate, --listen must be on the loopback address, not on " +
                           Text(endpoint));
}

asio::error_code Server::ListenAt(const tcp::endpoint& endpoint, Session::Entrance entrance) {
  auto listener = std::make_unique<Listener>(Listener{Acceptor(context_), entrance});
  Acceptor& acceptor = listener->acceptor;
  asio::error_code problem;
  acceptor.open(endpoint.protocol(), problem);
  if (!problem) acceptor.set_option(Acceptor::reuse_address(true), problem);
  if (!problem) acceptor.bind(endpoint, problem);
  if (!problem) acceptor.listen(tcp::socket::max_listen_connections, problem);
  if (!problem) AddListener(std::move(listener));
  return problem;
}

void Server::AddListener(std::unique_ptr<Listener> listener) {
  const char* what = listener->entrance == Session::Entrance::kProxy ? "listen for a proxy" : "listen";
  service_.log.Write({.what = what, .note = Text(listener->acceptor.local_endpoint())});
  listeners_.push_back(std::move(listener));
}

void Server::Run() {
  for (const auto& listener : listeners_) {
    asio::co_spawn(context_, Accept(*listener), [](const std::exception_ptr& problem) {
      if (problem) std::rethrow_exception(problem);
    });
  }
  WaitForSignal();
  WaitForReload();
  manager_.ReportReady();
  context_.run();
}

// If memory or descriptors run out, the connected clients continue, and when they disconnect, new ones can be
// accepted.
asio::awaitable<void> Server::Accept(Listener& listener) {
  asio::steady_timer pause(context_);
  bool failed = false;
  while (!finishing_) {
    try {
      if (failed) {
        pause.expires_after(kAcceptPause);
        co_await pause.async_wait(asio::use_awaitable);
      }
      failed = false;
      co_await AcceptNext(listener);
    } catch (const std::exception& problem) {
      failed = true;
      service_.log.Write({.what = "accept", .level = Level::kError, .note = problem.what()});
    }
  }
}

asio::awaitable<void> Server::AcceptNext(Listener& listener) {
  tcp::socket socket(context_);
  asio::error_code problem;
  co_await listener.acceptor.async_accept(socket, asio::redirect_error(asio::use_awaitable, problem));
  if (finishing_ || problem == asio::error::connection_aborted) co_return;
  if (problem) throw asio::system_error(problem);
  Begin(std::move(socket), listener.entrance);
}

void Server::Begin(tcp::socket socket, Session::Entrance entrance) {
  asio::error_code gone;
  const tcp::endpoint peer = socket.remote_endpoint(gone);
  Lobby* const lobby = gone ? nullptr : LobbyFor(peer.address(), entrance);
  if (lobby == nullptr) return;
  auto session = std::make_shared<Session>(service_, std::move(socket), entrance, *lobby);
  sessions_.insert(session);
  try {
    lobby->Add(*session);
    asio::co_spawn(context_, session->Run(), [this, session](const std::exception_ptr&) { End(session); });
  } catch (...) {
    sessions_.erase(session);
    throw;
  }
}

// Returns null for a connection that is not from an accepted proxy. The client of a proxy is not known yet.
Lobby* Server::LobbyFor(const asio::ip::address& address, Session::Entrance entrance) {
  if (entrance == Session::Entrance::kPlain)
    return service_.admission.allowed.Allows(address) ? &handshakes_ : &refused_;
  if (service_.options.proxy_from.Allows(address)) return &handshakes_;
  service_.status.NoteRefusal(
      {std::chrono::system_clock::now(), address.to_string(), {}, RefusalReason::kProxy});
  service_.log.Write({.what = "refuse",
                      .level = Level::kWarning,
                      .client = address.to_string(),
                      .note = "not an accepted proxy"});
  return nullptr;
}

void Server::End(const std::shared_ptr<Session>& session) {
  sessions_.erase(session);
  LeaveIfDone();
}

bool Server::IsDone() const {
  return finishing_ && sessions_.empty();
}

void Server::WaitForSignal() {
  signals_.async_wait([this](const asio::error_code& problem, int /*signal*/) {
    if (problem || IsDone()) return;
    WaitForSignal();
    if (finishing_) {
      CutAll();
    } else {
      Finish();
    }
  });
}

void Server::WaitForReload() {
  reload_.async_wait([this](const asio::error_code& problem, int /*signal*/) {
    if (problem || IsDone()) return;
    WaitForReload();
    manager_.ReportReloading();
    Reload();
    manager_.ReportReady();
  });
}

// Reloads all sources or none: an error in one of them must neither admit nor disconnect anyone.
void Server::Reload() {
  const std::string problem = service_.log.Reopen();
  if (!problem.empty()) {
    service_.log.Write({.what = "reload", .level = Level::kError, .note = "log not reopened: " + problem});
  }
  try {
    service_.admission = ReadAdmission(service_.options.admission);
  } catch (const std::exception& reason) {
    service_.log.Write({.what = "reload",
                        .level = Level::kError,
                        .note = "tags and networks are unchanged: " + std::string(reason.what())});
    return;
  }
  service_.log.Write({.what = "reload", .note = "tags and networks read"});
  for (const std::shared_ptr<Session>& session : sessions_) session->Readmit();
}

void Server::Finish() {
  finishing_ = true;
  manager_.ReportStopping();
  service_.log.Write({.what = "stop", .note = std::to_string(sessions_.size()) + " clients"});
  for (const auto& listener : listeners_) listener->acceptor.close();
  for (const std::shared_ptr<Session>& session : sessions_) session->Finish();
  grace_.expires_after(kGrace);
  grace_.async_wait([this](const asio::error_code& problem) {
    if (!problem) CutAll();
  });
  LeaveIfDone();
}

void Server::CutAll() {
  if (IsDone()) return;
  for (const std::shared_ptr<Session>& session : sessions_) session->Cut();
  grace_.expires_after(kUntilForced);
  grace_.async_wait([this](const asio::error_code& problem) {
    if (problem || IsDone()) return;
    service_.log.Write({.what = "stop", .level = Level::kError, .note = "the store does not answer"});
    std::_Exit(EXIT_SUCCESS);
  });
}

void Server::LeaveIfDone() {
  if (!IsDone()) return;
  grace_.cancel();
  signals_.cancel();
  reload_.cancel();
}

}  // namespace tvl::server
