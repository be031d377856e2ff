#include "server/wire/listeners.h"

#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "server/service_manager/passed_sockets.h"
#include "server/settings/access.h"

namespace tvl::server {
namespace {

using asio::ip::tcp;

std::string Text(const tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" + std::to_string(endpoint.port());
}

}  // namespace

void Listeners::Open() {
  const unsigned int plain = ListenOn(options_.plain, Entrance::kPlain);
  const unsigned int proxy = ListenOn(options_.proxy, Entrance::kProxy);
  // Written last, so that a process that waits for one of the files finds both.
  if (!options_.proxy.port_file.empty()) port_files_.emplace_back(options_.proxy.port_file, proxy);
  if (!options_.plain.port_file.empty()) port_files_.emplace_back(options_.plain.port_file, plain);
}

// Listens on all addresses of a name, of which one that works is enough. Returns the port number; 0 if there
// is nothing to listen on.
unsigned int Listeners::ListenOn(const ListenAddress& address, Entrance entrance) {
  if (!address.sockets.empty()) return TakeOver(address.sockets, entrance);
  if (address.port.empty()) return 0;
  tcp::resolver resolver(context_);
  unsigned short port = 0;
  asio::error_code failure = asio::error::host_not_found;
  const std::size_t before = all_.size();
  for (const auto& entry : resolver.resolve(address.host, address.port, tcp::resolver::passive)) {
    tcp::endpoint endpoint = entry.endpoint();
    // With port 0, the port selected for the first address is used for the others too.
    if (endpoint.port() == 0) endpoint.port(port);
    CheckCertificatesAreSafe(endpoint, entrance);
    if (const asio::error_code problem = ListenAt(endpoint, entrance)) {
      failure = problem;
      log_.Write(
          {.what = "listen", .level = Level::kError, .note = Text(endpoint) + ": " + problem.message()});
      continue;
    }
    port = all_.back()->acceptor.local_endpoint().port();
  }
  if (all_.size() == before) throw std::system_error(failure, "cannot listen on " + address.host);
  return port;
}

// Sockets that the service manager has opened and keeps open: clients that come while no server runs wait for
// the next one.
unsigned int Listeners::TakeOver(const std::vector<int>& sockets, Entrance entrance) {
  const std::size_t before = all_.size();
  for (const int number : sockets) {
    const tcp::endpoint endpoint = EndpointOf(number);
    CheckCertificatesAreSafe(endpoint, entrance);
    auto listener = std::make_unique<Listener>(Listener{tcp::acceptor(context_), entrance});
    listener->acceptor.assign(endpoint.protocol(), number);
    Add(std::move(listener));
  }
  return all_[before]->acceptor.local_endpoint().port();
}

// A client that bypasses the proxy has no certificate, so this is allowed on this computer only.
void Listeners::CheckCertificatesAreSafe(const tcp::endpoint& endpoint, Entrance entrance) const {
  if (entrance == Entrance::kProxy || !options_.user_from_certificate) return;
  if (Plain(endpoint.address()).is_loopback()) return;
  throw std::runtime_error("with --user-from-certificate, --listen must be on the loopback address, not on " +
                           Text(endpoint));
}

asio::error_code Listeners::ListenAt(const tcp::endpoint& endpoint, Entrance entrance) {
  auto listener = std::make_unique<Listener>(Listener{tcp::acceptor(context_), entrance});
  tcp::acceptor& acceptor = listener->acceptor;
  asio::error_code problem;
  acceptor.open(endpoint.protocol(), problem);
  if (!problem) acceptor.set_option(tcp::acceptor::reuse_address(true), problem);
  if (!problem) acceptor.bind(endpoint, problem);
  if (!problem) acceptor.listen(tcp::socket::max_listen_connections, problem);
  if (!problem) Add(std::move(listener));
  return problem;
}

void Listeners::Add(std::unique_ptr<Listener> listener) {
  const char* what = listener->entrance == Entrance::kProxy ? "listen for a proxy" : "listen";
  log_.Write({.what = what, .note = Text(listener->acceptor.local_endpoint())});
  all_.push_back(std::move(listener));
}

void Listeners::Close() {
  for (const auto& listener : all_) listener->acceptor.close();
}

}  // namespace tvl::server
