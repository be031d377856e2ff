#include "server/server.h"

#include <fcntl.h>
#include <unistd.h>

#include <asio/co_spawn.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace tvl::server {
namespace {

using asio::ip::tcp;

constexpr std::chrono::seconds kGrace(5);
constexpr std::chrono::seconds kUntilForced(10);  // a disk that hangs must not keep the process
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
      grace_(context_),
      handshakes_(kHandshakesAtOnce),
      refused_(kRefusedAtOnce) {}

// A name may stand for several addresses, of which one that works is enough.
void Server::Listen() {
  tcp::resolver resolver(context_);
  const Options& options = service_.options;
  unsigned short port = 0;
  asio::error_code failure = asio::error::host_not_found;
  for (const auto& entry : resolver.resolve(options.host, options.port, tcp::resolver::passive)) {
    tcp::endpoint endpoint = entry.endpoint();
    // Port 0 picks one for the first address, which the others then share.
    if (endpoint.port() == 0) endpoint.port(port);
    if (const asio::error_code problem = ListenAt(endpoint)) {
      failure = problem;
      service_.log.Write(
          {.what = "listen", .level = Level::kError, .note = Text(endpoint) + ": " + problem.message()});
      continue;
    }
    port = acceptors_.back()->local_endpoint().port();
  }
  if (acceptors_.empty()) throw std::system_error(failure, "cannot listen on " + options.host);
  port_ = port;
  if (!options.port_file.empty()) WritePortFile(port);
}

asio::error_code Server::ListenAt(const tcp::endpoint& endpoint) {
  auto acceptor = std::make_unique<Acceptor>(context_);
  asio::error_code problem;
  acceptor->open(endpoint.protocol(), problem);
  if (!problem) acceptor->set_option(Acceptor::reuse_address(true), problem);
  if (!problem) acceptor->bind(endpoint, problem);
  if (!problem) acceptor->listen(tcp::socket::max_listen_connections, problem);
  if (problem) return problem;
  service_.log.Write({.what = "listen", .note = Text(acceptor->local_endpoint())});
  acceptors_.push_back(std::move(acceptor));
  return problem;
}

// In one step, so that who waits for the file finds the number in it.
void Server::WritePortFile(unsigned int port) const {
  const std::string path = service_.options.port_file;
  const std::string fresh = path + ".new";
  std::ofstream file(fresh);
  file << port << '\n';
  file.close();
  std::error_code problem;
  if (file) std::filesystem::rename(fresh, path, problem);
  if (!file || problem) throw std::runtime_error("port file cannot be written: " + path);
}

// Unless another server has written it meanwhile.
void Server::RemovePortFile() const {
  unsigned int port = 0;
  std::ifstream file(service_.options.port_file);
  if (port_ == 0 || !(file >> port) || port != port_) return;
  std::error_code ignored;
  std::filesystem::remove(service_.options.port_file, ignored);
}

void Server::Run() {
  for (const auto& acceptor : acceptors_) {
    asio::co_spawn(context_, Accept(*acceptor), [](const std::exception_ptr& problem) {
      if (problem) std::rethrow_exception(problem);
    });
  }
  WaitForSignal();
  WaitForReload();
  context_.run();
}

// Where a client cannot be let in because memory or descriptors ran out, those that are in go on, and their
// ends make space for it.
asio::awaitable<void> Server::Accept(Acceptor& acceptor) {
  asio::steady_timer pause(context_);
  bool failed = false;
  while (!finishing_) {
    try {
      if (failed) {
        pause.expires_after(kAcceptPause);
        co_await pause.async_wait(asio::use_awaitable);
      }
      failed = false;
      co_await AcceptNext(acceptor);
    } catch (const std::exception& problem) {
      failed = true;
      service_.log.Write({.what = "accept", .level = Level::kError, .note = problem.what()});
    }
  }
}

asio::awaitable<void> Server::AcceptNext(Acceptor& acceptor) {
  tcp::socket socket(context_);
  asio::error_code problem;
  co_await acceptor.async_accept(socket, asio::redirect_error(asio::use_awaitable, problem));
  if (finishing_ || problem == asio::error::connection_aborted) co_return;
  if (problem) throw asio::system_error(problem);
  Begin(std::move(socket));
}

void Server::Begin(tcp::socket socket) {
  asio::error_code gone;
  const tcp::endpoint peer = socket.remote_endpoint(gone);
  if (gone) return;
  Lobby& lobby = service_.admission.allowed.Allows(peer.address()) ? handshakes_ : refused_;
  auto session = std::make_shared<Session>(service_, std::move(socket), lobby);
  sessions_.insert(session);
  try {
    lobby.Add(*session);
    asio::co_spawn(context_, session->Run(), [this, session](const std::exception_ptr&) { End(session); });
  } catch (...) {
    sessions_.erase(session);
    throw;
  }
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
    Reload();
  });
}

// All or nothing: a mistake in one of the sources must neither let anyone in nor send anyone away.
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
                        .note = "tags and networks stay as they were: " + std::string(reason.what())});
    return;
  }
  service_.log.Write({.what = "reload", .note = "tags and networks read"});
  for (const std::shared_ptr<Session>& session : sessions_) session->Readmit();
}

void Server::Finish() {
  finishing_ = true;
  service_.log.Write({.what = "stop", .note = std::to_string(sessions_.size()) + " clients"});
  for (const auto& acceptor : acceptors_) acceptor->close();
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
