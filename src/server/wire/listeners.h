#ifndef TVL_SERVER_WIRE_LISTENERS_H
#define TVL_SERVER_WIRE_LISTENERS_H

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <memory>
#include <vector>

#include "server/log/log.h"
#include "server/settings/options.h"
#include "server/wire/entrance.h"
#include "server/wire/port_file.h"

namespace tvl::server {

// The sockets on which the server listens for clients.
class Listeners {
 public:
  struct Listener {
    asio::ip::tcp::acceptor acceptor;
    Entrance entrance;
  };

  // All parameters are borrowed.
  Listeners(asio::io_context& context, const Options& options, Log& log)
      : context_(context), options_(options), log_(log) {}
  Listeners(const Listeners&) = delete;
  Listeners& operator=(const Listeners&) = delete;

  // Listens on the addresses of the options and writes the port files. Throws std::runtime_error or
  // asio::system_error.
  void Open();

  [[nodiscard]] const std::vector<std::unique_ptr<Listener>>& All() const { return all_; }

  // Accepts no more connections.
  void Close();

 private:
  unsigned int ListenOn(const ListenAddress& address, Entrance entrance);
  unsigned int TakeOver(const std::vector<int>& sockets, Entrance entrance);
  [[nodiscard]] asio::error_code ListenAt(const asio::ip::tcp::endpoint& endpoint, Entrance entrance);
  void CheckCertificatesAreSafe(const asio::ip::tcp::endpoint& endpoint, Entrance entrance) const;
  void Add(std::unique_ptr<Listener> listener);

  asio::io_context& context_;
  const Options& options_;
  Log& log_;
  std::vector<std::unique_ptr<Listener>> all_;
  std::vector<PortFile> port_files_;
};

}  // namespace tvl::server

#endif
