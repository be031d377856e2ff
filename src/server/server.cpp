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

namespace tvl::server {
namespace {

using asio::ip::tcp;

constexpr std::chrono::seconds kGrace(5);
constexpr std::chrono::seconds kUntilForced(10);  // a disk that hangs must not keep the process
constexpr std::chrono::milliseconds kAcceptPause(100);

// Beside those that are served: who comes in, who has been refused.
constexpr std::size_t kInLobby = 64;

std::string Text(const tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" + std::to_string(endpoint.port());
}

}  // namespace

Server::Server(Service& service)
    : service_(service),
      context_(1),
      signals_(context_, SIGTERM, SIGINT),
      grace_(context_),
      room_(context_) {}

void Server::Listen() {
  tcp::resolver resolver(context_);
  const Options& options = service_.options;
  unsigned short port = 0;
  for (const auto& entry : resolver.resolve(options.host, options.port, tcp::resolver::passive)) {
    tcp::endpoint endpoint = entry.endpoint();
    // Port 0 picks one for the first address, which the others then share.
    if (endpoint.port() == 0) endpoint.port(port);
    ListenAt(endpoint);
    port = acceptors_.back()->local_endpoint().port();
  }
  if (!options.port_file.empty()) WritePortFile(port);
}

void Server::ListenAt(tcp::endpoint endpoint) {
  auto acceptor = std::make_unique<Acceptor>(context_);
  acceptor->open(endpoint.protocol());
  acceptor->set_option(Acceptor::reuse_address(true));
  acceptor->bind(endpoint);
  acceptor->listen();
  service_.log.Write({{}, "listen", {}, {}, {}, {}, Text(acceptor->local_endpoint())});
  acceptors_.push_back(std::move(acceptor));
}

// In one step, so that who waits for the file finds the number in it.
void Server::WritePortFile(unsigned int port) const {
  const std::string path = service_.options.port_file;
  const std::string fresh = path + ".new";
  std::ofstream(fresh) << port << '\n';
  std::error_code problem;
  std::filesystem::rename(fresh, path, problem);
  if (problem) throw std::runtime_error("port file cannot be written: " + path);
}

void Server::Run() {
  for (const auto& acceptor : acceptors_) {
    asio::co_spawn(context_, Accept(*acceptor), [](const std::exception_ptr& problem) {
      if (problem) std::rethrow_exception(problem);
    });
  }
  WaitForSignal();
  context_.run();
}

asio::awaitable<void> Server::Accept(Acceptor& acceptor) {
  asio::steady_timer pause(context_);
  while (!finishing_) {
    co_await WaitForRoom();
    if (finishing_) co_return;
    tcp::socket socket(context_);
    asio::error_code problem;
    co_await acceptor.async_accept(socket, asio::redirect_error(asio::use_awaitable, problem));
    if (finishing_) co_return;
    if (!problem) {
      Begin(std::move(socket));
      continue;
    }
    if (problem == asio::error::connection_aborted) continue;
    service_.log.Write({{}, "accept", {}, {}, {}, {}, problem.message()});
    pause.expires_after(kAcceptPause);
    co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, problem));
  }
}

// As long as the lobby is full, clients wait in the kernel's queue.
asio::awaitable<void> Server::WaitForRoom() {
  while (!finishing_ && sessions_.size() >= service_.options.max_clients + kInLobby) {
    asio::error_code ignored;
    room_.expires_at(std::chrono::steady_clock::time_point::max());
    co_await room_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
  }
}

void Server::Begin(tcp::socket socket) {
  auto session = std::make_shared<Session>(service_, std::move(socket));
  sessions_.insert(session);
  asio::co_spawn(context_, session->Run(), [this, session](const std::exception_ptr&) { End(session); });
}

void Server::End(const std::shared_ptr<Session>& session) {
  sessions_.erase(session);
  room_.cancel();
  LeaveIfDone();
}

void Server::WaitForSignal() {
  signals_.async_wait([this](const asio::error_code& problem, int /*signal*/) {
    if (problem) return;
    if (finishing_) {
      CutAll();
    } else {
      Finish();
    }
    WaitForSignal();
  });
}

void Server::Finish() {
  finishing_ = true;
  service_.log.Write({{}, "stop", {}, {}, {}, {}, std::to_string(sessions_.size()) + " clients"});
  for (const auto& acceptor : acceptors_) acceptor->close();
  room_.cancel();
  for (const std::shared_ptr<Session>& session : sessions_) session->Finish();
  grace_.expires_after(kGrace);
  grace_.async_wait([this](const asio::error_code& problem) {
    if (!problem) CutAll();
  });
  LeaveIfDone();
}

void Server::CutAll() {
  for (const std::shared_ptr<Session>& session : sessions_) session->Cut();
  grace_.expires_after(kUntilForced);
  grace_.async_wait([this](const asio::error_code& problem) {
    if (problem || sessions_.empty()) return;
    service_.log.Write({{}, "stop", {}, {}, {}, {}, "the store does not answer"});
    std::_Exit(EXIT_SUCCESS);
  });
}

void Server::LeaveIfDone() {
  if (!finishing_ || !sessions_.empty()) return;
  grace_.cancel();
  signals_.cancel();
  signals_.clear();
}

}  // namespace tvl::server
