#include "server/server.h"

#include <asio/co_spawn.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace tvl::server {
namespace {

using asio::ip::tcp;

constexpr std::chrono::seconds kGrace(5);
constexpr std::chrono::seconds kUntilForced(10);  // a disk that hangs must not block the exit
constexpr std::chrono::milliseconds kAcceptPause(100);

constexpr std::size_t kHandshakesAtOnce = 64;
constexpr std::size_t kRefusedAtOnce = 32;

}  // namespace

Server::Server(Service& service)
    : service_(service),
      context_(1),
      listeners_(context_, service.options, service.log),
      signals_(context_, SIGTERM, SIGINT),
      reload_(context_, SIGHUP),
      manager_(context_, service.log,
               [&service] { return "clients: " + std::to_string(service.clients.All()); }),
      grace_(context_),
      handshakes_(kHandshakesAtOnce),
      refused_(kRefusedAtOnce) {}

void Server::Run() {
  for (const auto& listener : listeners_.All()) {
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
asio::awaitable<void> Server::Accept(Listeners::Listener& listener) {
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

asio::awaitable<void> Server::AcceptNext(Listeners::Listener& listener) {
  tcp::socket socket(context_);
  asio::error_code problem;
  co_await listener.acceptor.async_accept(socket, asio::redirect_error(asio::use_awaitable, problem));
  if (finishing_ || problem == asio::error::connection_aborted) co_return;
  if (problem) throw asio::system_error(problem);
  Begin(std::move(socket), listener.entrance);
}

void Server::Begin(tcp::socket socket, Entrance entrance) {
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
Lobby* Server::LobbyFor(const asio::ip::address& address, Entrance entrance) {
  if (entrance == Entrance::kPlain)
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
  listeners_.Close();
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
