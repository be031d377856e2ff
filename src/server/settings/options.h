#ifndef TVL_SERVER_SETTINGS_OPTIONS_H
#define TVL_SERVER_SETTINGS_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "server/files/free_space.h"
#include "server/log/log.h"
#include "server/settings/access.h"

namespace tvl::server {

// An address to listen on. Without a port or sockets, the server does not listen.
struct ListenAddress {
  [[nodiscard]] bool IsUsed() const { return !port.empty() || !sockets.empty(); }

  std::string host;
  std::string port;
  std::string port_file;     // file for the port number; empty for none
  std::vector<int> sockets;  // passed by the service manager, in place of host and port
};

// The options of the command line.
struct Options {
  std::string config;
  ListenAddress plain = {"127.0.0.1", "7440", {}, {}};
  ListenAddress proxy = {"127.0.0.1", "", {}, {}};   // for connections from a proxy
  ListenAddress status = {"127.0.0.1", "", {}, {}};  // for status requests
  AllowedAddresses proxy_from;
  bool user_from_certificate = false;
  std::size_t max_clients = 1024;
  std::chrono::milliseconds handshake_timeout = std::chrono::seconds(10);
  std::chrono::milliseconds send_timeout = std::chrono::seconds(60);
  std::chrono::milliseconds peer_timeout = std::chrono::seconds(120);
  std::chrono::milliseconds idle_timeout = std::chrono::milliseconds::zero();  // none
  std::uint64_t max_file = 0;                                                  // any size
  std::size_t max_clients_per_address = 0;                                     // any number
  unsigned int max_locks_per_client = 0;                                       // any number
  FreeSpace min_free;
  AdmissionSources admission;
  LogOptions log;
  bool check = false;  // only check whether the server could start
};

// Fills `options`. Returns -1 to continue, else the exit code, after an error or help was printed.
[[nodiscard]] int ParseOptions(int count, char** arguments, Options& options);

// Parses "HOST:PORT", ":PORT", "PORT", "[IPv6]:PORT" or "[IPv6]", the value of `option`. Missing parts keep
// their values in `address`. Throws std::runtime_error for anything else.
void SplitAddress(const char* option, const std::string& text, ListenAddress& address);

}  // namespace tvl::server

#endif
